#pragma once

#include "connections/connection_status.h"
#include "nox_export.h"
#include "platform/communication/connection.h"
#include "platform/lockable.h"
#include "platform/visitors.h"

#include <QMap>
#include <QObject>

#include <functional>
#include <memory>

namespace CommonNOX::Connections
{

class ActiveConnectionsCounter;
class ConnectionRequestParser;
class DisconnectRequestParser;
class ReconnectRequestParser;

/// Opens, follows, closes and opens again the connections to the devices of one class and series.
///
/// A connection is made from connect data by the factory of their scheme and recorded in the configuration tree, see
/// connection_paths.h. Requests come through the operations or as writes to the manager's leaves of the tree. The tree
/// owns the manager, which lives on the main thread; its operations may be called from there alone, since connections
/// live there too, while requests may be written from any thread. Signals are emitted with the manager's lock held.
class NOX_EXPORT ConnectionManager : public QObject,
                                     public Shared::Synchronization::SharedLockable<ConnectionManager>,
                                     public std::enable_shared_from_this<ConnectionManager>,
                                     public Utilities::GuiContextVisitor
{
    Q_OBJECT
public:
    using Connection = Shared::Communication::Connections::Connection;
    using ConnectionFactory = std::function<std::shared_ptr<Connection>(const QVariant &connectData)>;
    /// Gives the scheme of connect data.
    using SchemeExtractor = std::function<QString(const QVariant &connectData)>;

    /// Makes a manager with the given transports and puts it into the tree. `defaultTimeout` (ms) is published when it
    /// is above 0. Empty, with a log line, when it cannot be put there.
    static std::shared_ptr<ConnectionManager>
    InstallConnectionManager(const std::shared_ptr<const Shared::GuiContexts::ReaderInterface> &reader,
                             const QString &deviceClass, const QString &deviceSeries,
                             const QMap<QString, ConnectionFactory> &factories, const SchemeExtractor &schemeExtractor,
                             int defaultTimeout);

    /// Puts its request parsers and its counter into the tree.
    ConnectionManager(const std::shared_ptr<const Shared::GuiContexts::ReaderInterface> &reader,
                      const QString &deviceClass, const QString &deviceSeries, const SchemeExtractor &schemeExtractor);
    /// Takes settings and transports over and makes request objects of its own; those of the original stay in the tree.
    ConnectionManager(const ConnectionManager &other);
    ConnectionManager &operator=(const ConnectionManager &) = delete;
    ~ConnectionManager() override;

    /// "CLASS/SERIES".
    QString getId() const;
    QString getDeviceClass() const { return m_class; }
    QString getDeviceSeries() const { return m_series; }
    std::shared_ptr<ActiveConnectionsCounter> getActiveConnections() const { return m_counter; }

    /// False, and the first factory stays, when the scheme is known already.
    bool registerTransportProtocol(const QString &scheme, const ConnectionFactory &factory);

    /// The id of the new connection, whose opening has begun; empty when there is no transport for the data. It is
    /// empty too when the record could not be written completely, and the connection is open all the same: kept on
    /// purpose, callers treat it as a failure.
    QString connectToDevice(const QVariant &connectData);
    /// Closes the connection if it is open. False for an unknown id. The record stays, so that it can be opened again.
    bool disconnectFromDevice(const QString &connectionId, const QVariant &reason);

signals:
    void deviceConnectStatusChanged(const QString &connectionId, const CommonNOX::ConnectionStatus &status);
    void deviceConnected(const QString &connectionId);
    void deviceDisconnected(const QString &connectionId, const QVariant &reason);

private slots:
    void onDeviceConnected(const QVariant &connectData, const QString &connectionId);
    void onConnectionFailed(const QVariant &connectData, const QString &connectionId);
    void onDeviceDisconnected(const QVariant &connectData, const QString &connectionId, const QVariant &reason);
    void onConnectionReconnectRequested(const QString &connectionId);
    void handleConnectionStatusChange(const QString &connectionId, const CommonNOX::ConnectionStatus &status,
                                      const QVariant &detail);

private:
    void makeRequestObjects();
    bool publishRequestObjects() const;
    void follow(const std::shared_ptr<Connection> &connection, const QVariant &connectData);
    std::shared_ptr<Connection> readConnection(const QString &connectionId) const;

    const QString m_class;
    const QString m_series;
    const SchemeExtractor m_schemeExtractor;
    QMap<QString, ConnectionFactory> m_factories;
    std::shared_ptr<ConnectionRequestParser> m_connectParser;
    std::shared_ptr<DisconnectRequestParser> m_disconnectParser;
    std::shared_ptr<DisconnectRequestParser> m_suspendParser;
    std::shared_ptr<ReconnectRequestParser> m_reconnectParser;
    std::shared_ptr<ActiveConnectionsCounter> m_counter;
};

} // namespace CommonNOX::Connections

Q_DECLARE_METATYPE(std::shared_ptr<CommonNOX::Connections::ConnectionManager>)
