#include "evaluation/processors/frequency_processor.h"

#include "entries/catalogue/results_values.h"
#include "entries/measurement/period.h"
#include "entries/property_keys.h"
#include "evaluation/processors/processor_names.h"
#include "evaluation/processors/processors_factory.h"

namespace CommonNOX::Evaluation::Processors::Frequency
{

using Entries::Results::Space1D::FrequencyV1;
namespace Keys = Entries::Keys;

namespace
{
const ProcessorSelfRegistration<FrequencyProcessor> registration({Names::Frequency});
}

FrequencyProcessor::FrequencyProcessor(const ReaderConstPtr &deviceContext, const ReaderConstPtr &channelContext,
                                       const QString &processorName, const QString &deviceIdentification,
                                       const unsigned int &channelIndex)
    : SingleChannelProcessor(deviceContext, channelContext, processorName, deviceIdentification, channelIndex)
{}

FrequencyProcessor::~FrequencyProcessor() = default;

bool FrequencyProcessor::evaluate(const quint64 &periodIndex, const std::shared_ptr<const Data::Period> &period)
{
    if (!accepts(period))
        return false;
    try {
        const auto result = std::make_shared<FrequencyV1>();
        result->set(Keys::Value, period->getSampleRate() / double(period->getDuration()));
        result->set(Keys::Unit, QStringLiteral("Hz"));
        result->set(Keys::Source, QStringLiteral("period"));
        return storeResult(periodIndex, result);
    } catch (...) {
        return false;
    }
}

} // namespace CommonNOX::Evaluation::Processors::Frequency
