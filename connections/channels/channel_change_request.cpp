#include "connections/channels/channel_change_request.h"

#include "connections/channels/channel_text.h"

#include <QStringList>

namespace CommonNOX::Devices::Channels
{

ChannelChangeRequest::ChannelChangeRequest(Hardware::Function function, int index, bool enable)
    : m_function(function), m_index(index), m_enable(enable)
{}

bool ChannelChangeRequest::setFunction(Hardware::Function function)
{
    if (function == Hardware::Function::Invalid)
        return false;
    m_function = function;
    return true;
}

bool ChannelChangeRequest::setIndex(int index)
{
    if (index < 0)
        return false;
    m_index = index;
    return true;
}

bool ChannelChangeRequest::isValid() const
{
    return m_function != Hardware::Function::Invalid && m_index >= 0;
}

QString ChannelChangeRequest::toString() const
{
    const QStringList parts{Hardware::utils::FunctionTypeToString(m_function), QString::number(m_index),
                            QString::number(m_enable ? 1 : 0)};
    return parts.join(Text::RequestSeparator);
}

ChannelChangeRequest ChannelChangeRequest::FromString(const QString &text)
{
    if (text.size() > Text::MaximumTextLength)
        return ChannelChangeRequest();
    const QStringList parts = text.split(Text::RequestSeparator, Qt::SkipEmptyParts);
    if (parts.size() != 3)
        return ChannelChangeRequest();
    bool indexRead = false;
    const int index = parts[1].toInt(&indexRead);
    // Lenient on purpose: writers of configuration values say "1", "true" or "on", and all of them mean enable.
    return ChannelChangeRequest(Hardware::utils::FunctionTypeFromString(parts[0]), indexRead ? index : -1,
                                parts[2] != QLatin1String("0"));
}

} // namespace CommonNOX::Devices::Channels
