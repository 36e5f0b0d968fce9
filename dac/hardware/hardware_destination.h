#pragma once

#include "nox_export.h"

#include <QString>

namespace CommonNOX::Hardware
{

/// Where the data of a channel goes in the instrument: a line of an acquisition board, both counted from 0.
class NOX_EXPORT HardwareDestination
{
public:
    /// The invalid destination.
    HardwareDestination() = default;

    /// A negative board or line gives the invalid destination.
    HardwareDestination(int board, int line);

    /// The destination of a channel that is described without one: the line of the same number on the first board.
    static HardwareDestination FromChannelIndex(int channelIndex);

    int getBoard() const { return m_board; }
    int getLine() const { return m_line; }
    bool isValid() const { return m_board >= 0; }

    /// "BOARD:LINE" in decimal, for example "0:3"; empty when invalid.
    QString getHardwareDestinationString() const;

    friend bool operator==(const HardwareDestination &, const HardwareDestination &) = default;

private:
    int m_board = -1;
    int m_line = -1;
};

namespace utils
{

/// Reads what getHardwareDestinationString() writes; anything else gives the invalid destination.
NOX_EXPORT HardwareDestination ParseHardwareDestinationFromString(const QString &text);

} // namespace utils

} // namespace CommonNOX::Hardware
