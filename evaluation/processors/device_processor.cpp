#include "evaluation/processors/device_processor.h"

#include "entries/entry_names.h"
#include "entries/measurement/voltage_scope.h"
#include "evaluation/context_keys.h"
#include "platform/data_store.h"

namespace CommonNOX::Evaluation::Processors
{

namespace
{

quint64 indexAfter(const Utilities::DataEntryInterface &entry)
{
    quint64 last = 0;
    QVariant value;
    return entry.getLastValue(last, value) ? last + 1 : 0;
}

} // namespace

AbstractDeviceProcessor::AbstractDeviceProcessor() = default;
AbstractDeviceProcessor::~AbstractDeviceProcessor() = default;

DeviceProcessor::DeviceProcessor(const ReaderConstPtr &deviceContext, const QString &processorName,
                                 const QString &deviceIdentification)
    : BaseProcessor(deviceContext, processorName), m_deviceIdentification(deviceIdentification)
{}

DeviceProcessor::~DeviceProcessor() = default;

bool DeviceProcessor::isReplayDevice() const
{
    return getDeviceContext().getProperty(ContextKeys::IsReplayDevice).toBool();
}

bool DeviceProcessor::evaluate(const std::shared_ptr<const Data::VoltageScope> &scope)
{
    if (!scope || !scope->isValid() || !isReady())
        return false;
    try {
        const auto entry = getEntry();
        if (!entry)
            return false;
        if (!m_scopeIndex)
            m_scopeIndex = indexAfter(*entry);
        if (!entry->setValue(*m_scopeIndex, makeResult(*scope)))
            return false;
        ++*m_scopeIndex;
        return true;
    } catch (...) {
        return false;
    }
}

void DeviceProcessor::handleEvent(DeviceEvaluatorEvent event)
{
    if (event != DeviceEvaluatorEvent::Reset)
        return;
    // The entry keeps its highest indices: results from before would displace those that begin at 0 again.
    restartEntry();
    m_scopeIndex = 0;
}

QString DeviceProcessor::getEntryName() const
{
    return GetDataEntryNameForDevice(m_deviceIdentification);
}

} // namespace CommonNOX::Evaluation::Processors
