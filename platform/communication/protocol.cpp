#include "platform/communication/protocol.h"

#include "platform/communication/connection.h"

#include <QRegularExpression>

namespace Shared::Communication::Protocols
{

QString ProtocolVersion::toString() const
{
    return isValid() ? QStringLiteral("%1.%2").arg(major).arg(minor) : QString();
}

ProtocolVersion ProtocolVersion::FromString(const QString &text)
{
    static const QRegularExpression form(QStringLiteral("\\A([0-9]{1,9})\\.([0-9]{1,9})\\z"));
    const QRegularExpressionMatch match = form.match(text);
    return match.hasMatch() ? ProtocolVersion{match.captured(1).toInt(), match.captured(2).toInt()} : ProtocolVersion();
}

ProtocolMessageInterface::~ProtocolMessageInterface() = default;

Protocol::Protocol(const ProtocolVersion &version, const QStringList &messageNames)
    : m_version(version), m_messageNames(messageNames)
{}

Protocol::~Protocol() = default;

bool Protocol::installProtocol(const QString &contextPath, const std::shared_ptr<Connections::Connection> &connection)
{
    if (contextPath.isEmpty() || !connection)
        return false;
    m_contextPath = contextPath;
    m_connection = connection;
    return true;
}

} // namespace Shared::Communication::Protocols
