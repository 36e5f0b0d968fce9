#pragma once

#include "dac/hardware/hardware_types.h"
#include "nox_export.h"

#include <QString>

namespace CommonNOX::Devices::Channels
{

/// A user's wish to switch the function of a channel, or to enable or disable it.
class NOX_EXPORT ChannelChangeRequest
{
public:
    /// @param index of the channel, counted from 0; -1 when unset
    explicit ChannelChangeRequest(Hardware::Function function = Hardware::Function::Invalid, int index = -1,
                                  bool enable = false);

    Hardware::Function getFunction() const { return m_function; }
    int getIndex() const { return m_index; }
    bool getEnable() const { return m_enable; }

    /// False, and nothing changes, for Function::Invalid.
    bool setFunction(Hardware::Function function);

    /// False, and nothing changes, for a negative index.
    bool setIndex(int index);

    void setEnable(bool enable) { m_enable = enable; }

    /// A function is set, and an index of 0 or more.
    bool isValid() const;

    /// "FUNCTION;INDEX;ENABLE", for example "pd;3;1".
    QString toString() const;

    /// Reads what toString() writes. Anything but three parts (empty ones do not count), or more than
    /// Text::MaximumTextLength characters, gives the invalid request. An unknown function is 0, an index that is no
    /// number -1, and every third part but "0" enables.
    static ChannelChangeRequest FromString(const QString &text);

    friend bool operator==(const ChannelChangeRequest &, const ChannelChangeRequest &) = default;

private:
    Hardware::Function m_function;
    int m_index;
    bool m_enable;
};

} // namespace CommonNOX::Devices::Channels
