#include "connections/protocols/protocol_message_builder.h"

#include "entries/log.h"

namespace CommonNOX::Protocols
{

bool ProtocolMessageBuilder::registerMessage(const QString &id, const Filler &filler)
{
    if (!filler || m_fillers.contains(id))
        return false;
    m_fillers.insert(id, filler);
    return true;
}

QJsonObject ProtocolMessageBuilder::buildMessage(const QString &id) const
{
    QJsonObject message;
    const auto filler = m_fillers.find(id);
    if (filler != m_fillers.end())
        (*filler)(message);
    else
        qCWarning(libraryLog()).noquote().nospace()
            << "ProtocolMessageBuilder::buildMessage() provided protocol message id=" << id
            << " is not available inside the registration list";
    return message;
}

} // namespace CommonNOX::Protocols
