#include "connections/protocols/protocol_message_attribute.h"

#include "connections/protocols/protocol_message_response.h"
#include "entries/log.h"
#include "platform/communication/connection.h"
#include "platform/json_conversion.h"

#include <optional>

namespace CommonNOX::Protocols
{

using Shared::Synchronization::ScopedLock;

namespace
{

/// Registered once, so that the type's name can be found whatever is read first.
const int ResponseType = qRegisterMetaType<ProtocolMessageResponse>("CommonNOX::Protocols::ProtocolMessageResponse");

} // namespace

ProtocolMessageAttribute::ProtocolMessageAttribute(const std::weak_ptr<Message> &message) : m_message(message) {}

ProtocolMessageAttribute::~ProtocolMessageAttribute() = default;

QString ProtocolMessageAttribute::getId() const
{
    return {};
}

bool ProtocolMessageAttribute::read(const QVariant &, QVariant &out) const
{
    const auto message = m_message.lock();
    std::optional<ScopedLock> messageLock;
    if (message)
        messageLock.emplace(*message);
    const std::lock_guard guard(m_mutex);
    out = m_value;
    return true;
}

bool ProtocolMessageAttribute::write(QVariant &out, const QVariant &in) const
{
    const auto message = m_message.lock();
    if (in.userType() == ResponseType || in.canConvert<ProtocolMessageResponse>())
        return takeResponse(message, out, in);
    if (!message)
        return fail(QStringLiteral("message_deleted"));
    const auto connection = message->getConnection();
    if (!connection || !connection->isOpen())
        return fail(QStringLiteral("connection_closed"));
    if (!message->canProcessRequest())
        return fail(QStringLiteral("policy"));
    const QJsonDocument document = Shared::ConvertVariantToJsonDocument(in);
    if (document.isNull()) {
        qCWarning(libraryLog()).noquote().nospace() << "ProtocolMessageAttribute::write() name=" << message->getName()
                                                    << " invalid message received, could not convert payload to JSON";
        return false;
    }
    return message->sendRequest(QVariant(document));
}

bool ProtocolMessageAttribute::takeResponse(const std::shared_ptr<Message> &message, QVariant &out,
                                            const QVariant &in) const
{
    QVariant response = in;
    // What cannot be converted leaves an invalid value.
    if (!response.convert(ResponseType))
        response = QVariant();
    std::optional<ScopedLock> messageLock;
    if (message)
        messageLock.emplace(*message);
    const std::lock_guard guard(m_mutex);
    m_value = response;
    out = response;
    return true;
}

bool ProtocolMessageAttribute::fail(const QString &reason) const
{
    emit writeRequestFailed(reason);
    return false;
}

} // namespace CommonNOX::Protocols
