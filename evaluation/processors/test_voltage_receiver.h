#pragma once

#include "nox_export.h"

namespace CommonNOX::Evaluation::Processors
{

/// A processor that wants to know the test voltage in force.
class NOX_EXPORT TestVoltageReceiver
{
public:
    /// The latest test voltage. An evaluator calls it just before each evaluate whose period knows its voltage, in the
    /// same thread; others may call it from any.
    virtual void voltageUpdate(double voltage) = 0;

protected:
    ~TestVoltageReceiver() = default;
};

} // namespace CommonNOX::Evaluation::Processors
