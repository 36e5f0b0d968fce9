#include "connections/connection_status.h"

namespace CommonNOX
{

QString ConvertConnectStatusToString(const ConnectionStatus &status)
{
    switch (status) {
    case Connecting:
        return QStringLiteral("connecting");
    case Established:
        return QStringLiteral("established");
    case Failed:
        return QStringLiteral("failed");
    case Disconnected:
        return QStringLiteral("disconnected");
    case Disconnecting:
        return QStringLiteral("disconnecting");
    }
    return QStringLiteral("unknown connection status");
}

bool ParseConnectionStatus(const QString &text, ConnectionStatus &status)
{
    for (const ConnectionStatus candidate : {Connecting, Established, Failed, Disconnected, Disconnecting}) {
        if (text == ConvertConnectStatusToString(candidate)) {
            status = candidate;
            return true;
        }
    }
    return false;
}

} // namespace CommonNOX
