#include "evaluation/processors/voltage_processors.h"

#include "entries/catalogue/results_pd.h"
#include "entries/catalogue/results_values.h"
#include "entries/measurement/voltage_scope.h"
#include "entries/property_keys.h"
#include "evaluation/processors/processor_names.h"
#include "evaluation/processors/processors_factory.h"

namespace CommonNOX::Evaluation::Processors
{

namespace Keys = Entries::Keys;

namespace
{

const DeviceProcessorSelfRegistration<Voltage::VoltageProcessor> voltageRegistration({Names::Voltage});
const DeviceProcessorSelfRegistration<Scope::VoltageScopeProcessor> scopeRegistration({Names::VoltageScope});

template <class Entry>
QVariant toVariant(const std::shared_ptr<Entry> &entry)
{
    return QVariant::fromValue(std::shared_ptr<const Entry>(entry));
}

} // namespace

namespace Voltage
{

VoltageProcessor::VoltageProcessor(const ReaderConstPtr &deviceContext, const QString &processorName,
                                   const QString &deviceIdentification)
    : DeviceProcessor(deviceContext, processorName, deviceIdentification)
{}

VoltageProcessor::~VoltageProcessor() = default;

QVariant VoltageProcessor::makeResult(const Data::VoltageScope &scope) const
{
    const auto result = std::make_shared<Entries::Results::Space1D::VoltageV1>();
    result->set(Keys::Rms, scope.getRms());
    result->set(Keys::Peak, scope.getPeak());
    result->set(Keys::Unit, scope.getUnit());
    return toVariant(result);
}

} // namespace Voltage

namespace Scope
{

VoltageScopeProcessor::VoltageScopeProcessor(const ReaderConstPtr &deviceContext, const QString &processorName,
                                             const QString &deviceIdentification)
    : DeviceProcessor(deviceContext, processorName, deviceIdentification)
{}

VoltageScopeProcessor::~VoltageScopeProcessor() = default;

QVariant VoltageScopeProcessor::makeResult(const Data::VoltageScope &scope) const
{
    const auto result = std::make_shared<Entries::Results::Space2D::DisplayedVoltageScopeV1>();
    result->set(Keys::Frequency, scope.getFrequency());
    result->set(Keys::MinimumValue, scope.getMinimum());
    result->set(Keys::MaximumValue, scope.getMaximum());
    result->set(Keys::PeakPeakValue, scope.getMaximum() - scope.getMinimum());
    result->set(Keys::Resolution, 1000.0 / scope.getSampleRate());
    result->set(Keys::Start, 0.0);
    result->set(Keys::VoltageSamples, QVariant::fromValue(scope.getSamples()));
    return toVariant(result);
}

} // namespace Scope

} // namespace CommonNOX::Evaluation::Processors
