#include "evaluation/processors/single_channel_processor.h"

#include "entries/entry_names.h"
#include "entries/measurement/period.h"
#include "platform/data_store.h"

namespace CommonNOX::Evaluation::Processors
{

AbstractSingleChannelProcessor::~AbstractSingleChannelProcessor() = default;

SingleChannelProcessor::SingleChannelProcessor(const ReaderConstPtr &deviceContext,
                                               const ReaderConstPtr &channelContext, const QString &processorName,
                                               const QString &deviceIdentification, const unsigned int &channelIndex)
    : BaseProcessor(deviceContext, processorName), m_channelContext(channelContext),
      m_deviceIdentification(deviceIdentification), m_channelIndex(channelIndex)
{}

SingleChannelProcessor::~SingleChannelProcessor() = default;

bool SingleChannelProcessor::resetProcessorState(const quint64 &)
{
    return false;
}

QString SingleChannelProcessor::getEntryName() const
{
    return GetDataEntryNameForDeviceChannel(m_deviceIdentification, QStringLiteral("%1").arg(m_channelIndex));
}

bool SingleChannelProcessor::accepts(const std::shared_ptr<const Data::Period> &period) const
{
    return period && period->isValid() && isReady();
}

bool SingleChannelProcessor::storeVariant(quint64 periodIndex, const QVariant &result)
{
    const auto entry = getEntry();
    return entry && entry->setValue(periodIndex, result);
}

} // namespace CommonNOX::Evaluation::Processors
