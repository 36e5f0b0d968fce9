#include "dac/hardware/hardware_destination.h"

#include "dac/hardware/number_pair.h"

namespace CommonNOX::Hardware
{

HardwareDestination::HardwareDestination(int board, int line)
{
    if (board >= 0 && line >= 0) {
        m_board = board;
        m_line = line;
    }
}

HardwareDestination HardwareDestination::FromChannelIndex(int channelIndex)
{
    return HardwareDestination(0, channelIndex);
}

QString HardwareDestination::getHardwareDestinationString() const
{
    return isValid() ? writeNumberPair(m_board, m_line) : QString();
}

HardwareDestination utils::ParseHardwareDestinationFromString(const QString &text)
{
    const auto numbers = readNumberPair(text);
    return numbers ? HardwareDestination(numbers->first, numbers->second) : HardwareDestination();
}

} // namespace CommonNOX::Hardware
