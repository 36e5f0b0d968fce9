#pragma once

#include "evaluation/processors/device_processor.h"

namespace CommonNOX::Evaluation::Processors
{

namespace Voltage
{

/// Rms and peak of the test voltage, a VoltageV1 a scope.
class NOX_EXPORT VoltageProcessor : public DeviceProcessor
{
    Q_OBJECT
public:
    VoltageProcessor(const ReaderConstPtr &deviceContext, const QString &processorName,
                     const QString &deviceIdentification);
    ~VoltageProcessor() override;

protected:
    QVariant makeResult(const Data::VoltageScope &scope) const override;
};

} // namespace Voltage

namespace Scope
{

/// The curve from which diagrams draw the latest scope, a DisplayedVoltageScopeV1.
class NOX_EXPORT VoltageScopeProcessor : public DeviceProcessor
{
    Q_OBJECT
public:
    VoltageScopeProcessor(const ReaderConstPtr &deviceContext, const QString &processorName,
                          const QString &deviceIdentification);
    ~VoltageScopeProcessor() override;

protected:
    QVariant makeResult(const Data::VoltageScope &scope) const override;
};

} // namespace Scope

} // namespace CommonNOX::Evaluation::Processors
