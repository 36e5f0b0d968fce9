#pragma once

#include "nox_export.h"

#include <QMetaType>
#include <QString>

namespace CommonNOX
{

/// What a connection is doing. The numbers are logged.
enum ConnectionStatus : int { Connecting = 0, Established = 1, Failed = 2, Disconnected = 3, Disconnecting = 4 };

/// "connecting", "established", "failed", "disconnected", "disconnecting"; else "unknown connection status".
NOX_EXPORT QString ConvertConnectStatusToString(const ConnectionStatus &status);
/// The inverse. False, and `status` is left alone, for any other text.
NOX_EXPORT bool ParseConnectionStatus(const QString &text, ConnectionStatus &status);

} // namespace CommonNOX

Q_DECLARE_METATYPE(CommonNOX::ConnectionStatus)
