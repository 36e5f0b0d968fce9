#include "evaluation/processors/displayed_period_processor.h"

#include "entries/catalogue/results_pd.h"
#include "entries/measurement/period.h"
#include "entries/property_keys.h"
#include "evaluation/processors/processor_names.h"
#include "evaluation/processors/processors_factory.h"

namespace CommonNOX::Evaluation::Processors::DisplayedPeriod
{

using Entries::Results::Space2D::DisplayedPeriodV1;
namespace Keys = Entries::Keys;

namespace
{
const ProcessorSelfRegistration<DisplayedPeriodProcessor> registration({Names::DisplayedPeriod});
}

DisplayedPeriodProcessor::DisplayedPeriodProcessor(const ReaderConstPtr &deviceContext,
                                                   const ReaderConstPtr &channelContext, const QString &processorName,
                                                   const QString &deviceIdentification,
                                                   const unsigned int &channelIndex)
    : SingleChannelProcessor(deviceContext, channelContext, processorName, deviceIdentification, channelIndex)
{}

DisplayedPeriodProcessor::~DisplayedPeriodProcessor() = default;

bool DisplayedPeriodProcessor::evaluate(const quint64 &periodIndex, const std::shared_ptr<const Data::Period> &period)
{
    if (!accepts(period))
        return false;
    try {
        // The status with which the period was built shows in its counts; the channel's may have changed since.
        const bool suppressed =
            period->getNumberOfElements() != period->getNumberOfPositiveEvents() + period->getNumberOfNegativeEvents();
        DisplayData signal, gated;
        period->postProcess(false, &signal, &gated, suppressed ? GatingStatus::Suppressing : GatingStatus::Off);
        const auto result = std::make_shared<DisplayedPeriodV1>();
        result->set(Keys::Flags, period->getPeriodFlags());
        result->set(Keys::Signal, QVariant::fromValue(signal.signal));
        result->set(Keys::Phase, QVariant::fromValue(signal.phase));
        result->set(Keys::V, QVariant::fromValue(signal.voltage));
        result->set(Keys::GatedSignal, QVariant::fromValue(gated.signal));
        result->set(Keys::GatedPhase, QVariant::fromValue(gated.phase));
        result->set(Keys::GatedV, QVariant::fromValue(gated.voltage));
        return storeResult(periodIndex, result);
    } catch (...) {
        return false;
    }
}

} // namespace CommonNOX::Evaluation::Processors::DisplayedPeriod
