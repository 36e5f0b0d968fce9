#pragma once

#include <QHostAddress>
#include <QString>

namespace NoxHost
{

/// Reads `ADDRESS:PORT` or `ADDRESS`, where an IPv6 address stands in brackets; "localhost" is the one name known.
/// False, and both are left alone, for anything else. A missing port leaves @p port alone.
bool readListenAddress(const QString &text, QHostAddress &address, quint16 &port);

/// The reverse.
QString listenAddressText(const QHostAddress &address, quint16 port);

} // namespace NoxHost
