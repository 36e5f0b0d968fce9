#include "connections/protocols/protocol_detector.h"

#include "platform/communication/connection.h"

namespace CommonNOX::Protocols
{

ProtocolDetector::ProtocolDetector(const std::shared_ptr<Connection> &connection) : m_connection(connection) {}

ProtocolDetector::~ProtocolDetector() = default;

QString ProtocolDetector::getId() const
{
    return m_connection ? m_connection->getId() : QString();
}

} // namespace CommonNOX::Protocols
