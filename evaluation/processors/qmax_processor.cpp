#include "evaluation/processors/qmax_processor.h"

#include "entries/catalogue/results_values.h"
#include "entries/measurement/period.h"
#include "entries/property_keys.h"
#include "evaluation/processors/processor_names.h"
#include "evaluation/processors/processors_factory.h"

#include <cmath>

namespace CommonNOX::Evaluation::Processors::Qmax
{

using Entries::Results::Space1D::QmaxInformationV1;
namespace Keys = Entries::Keys;

namespace
{

const ProcessorSelfRegistration<QmaxProcessor> registration({Names::Qmax});

constexpr double SmallestMaximum = 1e-12;

void takeReset(Shared::PendingValue<double> &reset, std::atomic<double> &maximum)
{
    double value = 0.0;
    if (reset.take(value))
        maximum = value;
}

bool scheduleReset(const std::atomic<double> &maximum, Shared::PendingValue<double> &reset)
{
    if (std::abs(maximum) <= SmallestMaximum)
        return false;
    reset.set(0.0);
    return true;
}

} // namespace

QmaxProcessor::QmaxProcessor(const ReaderConstPtr &deviceContext, const ReaderConstPtr &channelContext,
                             const QString &processorName, const QString &deviceIdentification,
                             const unsigned int &channelIndex)
    : SingleChannelProcessor(deviceContext, channelContext, processorName, deviceIdentification, channelIndex)
{}

QmaxProcessor::~QmaxProcessor() = default;

bool QmaxProcessor::evaluate(const quint64 &periodIndex, const std::shared_ptr<const Data::Period> &period)
{
    if (!accepts(period))
        return false;
    try {
        takeReset(m_negativeReset, m_maxNegative);
        takeReset(m_positiveReset, m_maxPositive);
        const double negative = period->getAbsoluteNegativeSignalValueMaximum();
        const double positive = period->getAbsolutePositiveSignalValueMaximum();
        if (negative <= m_maxNegative && positive <= m_maxPositive)
            return true;
        m_maxNegative = std::max<double>(m_maxNegative, negative);
        m_maxPositive = std::max<double>(m_maxPositive, positive);
        const auto result = std::make_shared<QmaxInformationV1>();
        result->set(Keys::AbsoluteMaximumValue, m_maxPositive.load());
        result->set(Keys::AbsoluteMinimumValue, m_maxNegative.load());
        result->set(Keys::AbsolutePeakValue, std::max<double>(m_maxNegative, m_maxPositive));
        result->set(Keys::Unit, period->getPDUnit());
        return storeResult(periodIndex, result);
    } catch (...) {
        return false;
    }
}

bool QmaxProcessor::resetProcessorState(const quint64 &)
{
    const bool positive = scheduleReset(m_maxPositive, m_positiveReset);
    const bool negative = scheduleReset(m_maxNegative, m_negativeReset);
    return positive || negative;
}

} // namespace CommonNOX::Evaluation::Processors::Qmax
