#include "evaluation/processors/qiec_processor.h"

#include "entries/catalogue/results_values.h"
#include "entries/measurement/period.h"
#include "entries/property_keys.h"
#include "evaluation/context_keys.h"
#include "evaluation/processors/processor_names.h"
#include "evaluation/processors/processors_factory.h"
#include "evaluation/processors/qiec_calculator.h"

namespace CommonNOX::Evaluation::Processors::Qiec
{

using Entries::Results::Space1D::SignalValueV1;
namespace Keys = Entries::Keys;

namespace
{
const ProcessorSelfRegistration<QiecProcessor> registration({Names::Qiec});
}

QiecProcessor::QiecProcessor(const ReaderConstPtr &deviceContext, const ReaderConstPtr &channelContext,
                             const QString &processorName, const QString &deviceIdentification,
                             const unsigned int &channelIndex)
    : SingleChannelProcessor(deviceContext, channelContext, processorName, deviceIdentification, channelIndex)
{
    const auto context = getChannelContext();
    m_calculator = std::make_shared<Calculation::QiecCalculator>(
        context.getPropertyPath(ContextKeys::QiecTau1), context.getPropertyPath(ContextKeys::QiecTau2),
        context.getPropertyPath(ContextKeys::InitialQiec), context.getConfigurationTree());
}

QiecProcessor::~QiecProcessor() = default;

bool QiecProcessor::evaluate(const quint64 &periodIndex, const std::shared_ptr<const Data::Period> &period)
{
    if (!accepts(period))
        return false;
    try {
        m_elapsed += double(period->getDuration()) / period->getSampleRate();
        // A dirty period still advances the filter.
        const double input = period->isDirty() ? 0.0 : period->getAbsoluteSignalValueMaximum();
        const double reading = m_calculator->addValue(input, m_elapsed);
        const QString unit = period->getPDUnit();
        m_elapsed = 0.0;
        const auto result = std::make_shared<SignalValueV1>();
        result->set(Keys::Value, reading);
        result->set(Keys::Unit, unit);
        return storeResult(periodIndex, result);
    } catch (...) {
        return false;
    }
}

} // namespace CommonNOX::Evaluation::Processors::Qiec
