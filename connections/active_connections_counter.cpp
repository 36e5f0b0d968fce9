#include "connections/active_connections_counter.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace CommonNOX::Connections
{

using Shared::Synchronization::ScopedLock;

ActiveConnectionsCounter::ActiveConnectionsCounter()
{
    qRegisterMetaType<QVector<QPair<QString, CommonNOX::ConnectionStatus>>>();
    moveToApplicationMainThread(this);
}

ActiveConnectionsCounter::~ActiveConnectionsCounter() = default;

void ActiveConnectionsCounter::onConnectionEvent(const ConnectionStatus &status, const QString &connectionId)
{
    const ScopedLock lock(*this);
    const auto known = std::find_if(m_connections.begin(), m_connections.end(),
                                    [&](const auto &connection) { return connection.first == connectionId; });
    if (known != m_connections.end()) {
        if (std::exchange(known->second, status) == status)
            return;
    } else {
        m_connections.append({connectionId, status});
    }
    emit connectionsChanged(m_connections);
}

ActiveConnectionsCounter::Connections ActiveConnectionsCounter::getConnections() const
{
    const ScopedLock lock(*this);
    return m_connections;
}

ActiveConnectionsCounter::operator QString() const
{
    QJsonObject object;
    for (const auto &[id, status] : getConnections())
        object.insert(id, ConvertConnectStatusToString(status));
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

} // namespace CommonNOX::Connections
