#include "connections/protocols/protocol.h"

#include "entries/log.h"

namespace CommonNOX::Protocols
{

Protocol::Protocol(const Shared::Communication::Protocols::ProtocolVersion &version, const QStringList &messageNames)
    : Shared::Communication::Protocols::Protocol(version, messageNames)
{}

Protocol::~Protocol() = default;

bool Protocol::installProtocol(const QString &contextPath, const ConnectionPtr &connection)
{
    if (Shared::Communication::Protocols::Protocol::installProtocol(contextPath, connection))
        return true;
    qCWarning(libraryLog()) << "Protocol::installProtocol() failed install protocol";
    return false;
}

bool Protocol::installProtocol(const ReaderConstPtr &reader, const ConnectionPtr &connection)
{
    m_reader = reader;
    return installProtocol(getProtocolContextVisitor().getContextPath(), connection);
}

Utilities::GuiContextVisitor Protocol::getProtocolContextVisitor() const
{
    return Utilities::GuiContextVisitor(m_reader);
}

} // namespace CommonNOX::Protocols
