#include "dac/hardware/hardware_source_configuration.h"

#include "dac/hardware/number_pair.h"

namespace CommonNOX::Hardware
{

HardwareSourceConfiguration::HardwareSourceConfiguration(int input, int impedance)
{
    if (input >= 0 && impedance >= 0) {
        m_input = input;
        m_impedance = impedance;
    }
}

QString HardwareSourceConfiguration::getSourceConfigurationString() const
{
    return isValid() ? writeNumberPair(m_input, m_impedance) : QString();
}

HardwareSourceConfiguration utils::ParseHardwareSourceConfigurationFromString(const QString &text)
{
    const auto numbers = readNumberPair(text);
    return numbers ? HardwareSourceConfiguration(numbers->first, numbers->second) : HardwareSourceConfiguration();
}

} // namespace CommonNOX::Hardware
