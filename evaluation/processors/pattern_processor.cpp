#include "evaluation/processors/pattern_processor.h"

#include "entries/catalogue/results_pd.h"
#include "entries/measurement/period.h"
#include "entries/property_keys.h"
#include "evaluation/context_keys.h"
#include "evaluation/processors/processor_names.h"
#include "evaluation/processors/processors_factory.h"

#include <QBuffer>
#include <QImage>

namespace CommonNOX::Evaluation::Processors::Pattern
{

using Entries::Results::Space3D::PatternV1;
namespace Keys = Entries::Keys;

namespace
{

const ProcessorSelfRegistration<PatternProcessor> registration({Names::Pattern});

QByteArray toPng(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    return buffer.open(QIODevice::WriteOnly) && image.save(&buffer, "PNG") ? bytes : QByteArray();
}

} // namespace

PatternProcessor::PatternProcessor(const ReaderConstPtr &deviceContext, const ReaderConstPtr &channelContext,
                                   const QString &processorName, const QString &deviceIdentification,
                                   const unsigned int &channelIndex)
    : SingleChannelProcessor(deviceContext, channelContext, processorName, deviceIdentification, channelIndex),
      m_pattern(channelContext)
{}

PatternProcessor::~PatternProcessor() = default;

bool PatternProcessor::evaluate(const quint64 &periodIndex, const std::shared_ptr<const Data::Period> &period)
{
    if (!accepts(period))
        return false;
    try {
        if (m_resetPending.exchange(false)) {
            m_pattern.refreshPatternParameter();
            m_sinceEntry = 0.0;
        }
        m_pattern.updatePattern(*period);
        m_hasPeriods = true;
        m_sinceEntry += double(period->getDuration()) / period->getSampleRate();
        // Half a tick of grace: the sum of equal periods may fall short of the interval by rounding.
        const double grace = 0.5 / period->getSampleRate();
        const double interval =
            getChannelContext().getProperty(ContextKeys::PatternInterval, DefaultInterval).toDouble();
        if (m_sinceEntry + grace < interval)
            return true;
        m_sinceEntry = 0.0;
        return storePattern(periodIndex);
    } catch (...) {
        return false;
    }
}

bool PatternProcessor::storePattern(quint64 periodIndex)
{
    QImage image, overflow;
    if (!m_pattern.getLastPatternDisplay(&image, &overflow))
        return false;
    const auto result = std::make_shared<PatternV1>();
    result->set(Keys::Image, toPng(image));
    result->set(Keys::Overflow, toPng(overflow));
    result->set(Keys::MaxScaleY, m_pattern.getLargestCharge());
    result->set(Keys::Bipolar, m_pattern.getBipolarStatus());
    result->set(Keys::AxisScaling, int(m_pattern.getAxisScaling()));
    return storeResult(periodIndex, result);
}

bool PatternProcessor::resetProcessorState(const quint64 &)
{
    if (!m_hasPeriods.exchange(false))
        return false;
    m_resetPending = true;
    return true;
}

} // namespace CommonNOX::Evaluation::Processors::Pattern
