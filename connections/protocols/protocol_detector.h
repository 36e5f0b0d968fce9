#pragma once

#include "nox_export.h"
#include "platform/communication/protocol.h"
#include "platform/lockable.h"

#include <QObject>

#include <memory>

namespace CommonNOX::Protocols
{

/// The base of what finds out the protocol of a device. It holds the connection until it has told the version; then the
/// application makes the protocol of that version on the same connection.
class NOX_EXPORT ProtocolDetector : public QObject, public Shared::Synchronization::SharedLockable<ProtocolDetector>
{
    Q_OBJECT
public:
    using Connection = Shared::Communication::Connections::Connection;

    explicit ProtocolDetector(const std::shared_ptr<Connection> &connection);
    ~ProtocolDetector() override;

    /// The connection's id; empty without a connection.
    QString getId() const;

signals:
    void protocolVersionReceived(Shared::Communication::Protocols::ProtocolVersion version);

protected:
    std::shared_ptr<const Connection> getConnection() const { return m_connection; }
    std::shared_ptr<Connection> getConnection() { return m_connection; }

private:
    const std::shared_ptr<Connection> m_connection;
};

} // namespace CommonNOX::Protocols
