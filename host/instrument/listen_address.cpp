#include "host/instrument/listen_address.h"

#include <QRegularExpression>

namespace NoxHost
{

bool readListenAddress(const QString &text, QHostAddress &address, quint16 &port)
{
    static const QRegularExpression form(QStringLiteral("^(?:\\[([^][]+)\\]|([^][:]+))(?::([0-9]{1,5}))?$"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch())
        return false;
    const QString host = match.captured(2) == QLatin1String("localhost") ? QStringLiteral("127.0.0.1")
                                                                         : match.captured(1) + match.captured(2);
    const bool isInBrackets = !match.captured(1).isEmpty();
    const QHostAddress read(host);
    // Qt also takes numbers with fewer dots, which are rather a port alone or a typing error.
    if (isInBrackets ? read.protocol() != QAbstractSocket::IPv6Protocol
                     : read.protocol() != QAbstractSocket::IPv4Protocol || host.count(QLatin1Char('.')) != 3)
        return false;
    bool isPort = true;
    const quint16 readPort = match.captured(3).isEmpty() ? port : match.captured(3).toUShort(&isPort);
    if (!isPort)
        return false;
    address = read;
    port = readPort;
    return true;
}

QString listenAddressText(const QHostAddress &address, quint16 port)
{
    const bool isIPv6 = address.protocol() == QAbstractSocket::IPv6Protocol;
    return (isIPv6 ? QStringLiteral("[%1]:%2") : QStringLiteral("%1:%2")).arg(address.toString()).arg(port);
}

} // namespace NoxHost
