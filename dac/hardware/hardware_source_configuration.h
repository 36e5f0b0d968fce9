#pragma once

#include "nox_export.h"

#include <QString>

namespace CommonNOX::Hardware
{

/// How the source of a channel is wired: which input of the source it is, and how that input is terminated.
class NOX_EXPORT HardwareSourceConfiguration
{
public:
    /// The invalid configuration: nothing is known of the input.
    HardwareSourceConfiguration() = default;

    /// @param input counted from 0
    /// @param impedance termination in ohm, 0 for high impedance
    /// A negative argument gives the invalid configuration.
    HardwareSourceConfiguration(int input, int impedance);

    int getInput() const { return m_input; }
    int getImpedance() const { return m_impedance; }
    bool isValid() const { return m_input >= 0; }

    /// "INPUT:IMPEDANCE" in decimal, for example "2:50"; empty when invalid.
    QString getSourceConfigurationString() const;

    friend bool operator==(const HardwareSourceConfiguration &, const HardwareSourceConfiguration &) = default;

private:
    int m_input = -1;
    int m_impedance = 0;
};

namespace utils
{

/// Reads what getSourceConfigurationString() writes; anything else gives the invalid configuration.
NOX_EXPORT HardwareSourceConfiguration ParseHardwareSourceConfigurationFromString(const QString &text);

} // namespace utils

} // namespace CommonNOX::Hardware
