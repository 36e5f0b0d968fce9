#include "connections/connection_request_parsers.h"

#include "entries/log.h"

#include <QUrl>

namespace CommonNOX::Connections
{

RequestParser::~RequestParser() = default;

bool RequestParser::read(const QVariant &, QVariant &out) const
{
    out = QVariant();
    return true;
}

QString RequestParser::getId() const
{
    return {};
}

ConnectionRequestParser::ConnectionRequestParser(const Validator &validator) : m_validator(validator) {}

bool ConnectionRequestParser::write(QVariant &, const QVariant &in) const
{
    if (!m_validator || m_validator(in).isEmpty())
        return false;
    emit connectionRequest(in);
    return true;
}

QString ConnectionRequestParser::CheckConnectDataForScheme(const QVariant &connectData)
{
    QUrl url;
    // A text converts to a URL too, but only as a strict one; what a user typed is read more kindly.
    if (connectData.userType() == QMetaType::QUrl)
        url = connectData.toUrl();
    else if (connectData.canConvert<QString>())
        url = QUrl::fromUserInput(connectData.toString());
    else if (connectData.canConvert<QUrl>())
        url = connectData.toUrl();
    if (!url.scheme().isEmpty())
        return url.scheme();
    qCWarning(libraryLog()).noquote().nospace()
        << "ConnectionRequestParser::CheckConnectDataForScheme() invalid url=" << url.toString()
        << " received, scheme is empty";
    return {};
}

bool DisconnectRequestParser::write(QVariant &, const QVariant &in) const
{
    if (!in.canConvert<QString>())
        return false;
    emit disconnectRequest(in.toString());
    return true;
}

bool ReconnectRequestParser::write(QVariant &, const QVariant &in) const
{
    if (!in.canConvert<QString>())
        return false;
    emit reconnectRequest(in.toString());
    return true;
}

} // namespace CommonNOX::Connections
