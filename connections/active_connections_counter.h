#pragma once

#include "connections/connection_status.h"
#include "nox_export.h"
#include "platform/lockable.h"

#include <QObject>
#include <QPair>
#include <QVector>

#include <memory>

namespace CommonNOX::Connections
{

/// The connections that there have been, each with its latest status, in the order in which they first appeared. None
/// is ever removed. Any thread.
class NOX_EXPORT ActiveConnectionsCounter : public QObject,
                                            public Shared::Synchronization::SharedLockable<ActiveConnectionsCounter>,
                                            public std::enable_shared_from_this<ActiveConnectionsCounter>
{
    Q_OBJECT
public:
    using Connections = QVector<QPair<QString, ConnectionStatus>>;

    ActiveConnectionsCounter();
    ~ActiveConnectionsCounter() override;

    void onConnectionEvent(const ConnectionStatus &status, const QString &connectionId);
    Connections getConnections() const;
    /// An empty text.
    QString getId() const { return {}; }
    /// A compact JSON object: the ids with the texts of their statuses.
    operator QString() const;

signals:
    /// A connection has appeared or its status has changed; all connections.
    void connectionsChanged(const QVector<QPair<QString, CommonNOX::ConnectionStatus>> &connections);

private:
    Connections m_connections;
};

} // namespace CommonNOX::Connections

Q_DECLARE_METATYPE(std::shared_ptr<CommonNOX::Connections::ActiveConnectionsCounter>)
