#include "connections/connection_manager.h"

#include "connections/active_connections_counter.h"
#include "connections/connection_paths.h"
#include "connections/connection_request_parsers.h"
#include "entries/log.h"

#include <QStringList>
#include <QUrl>

namespace CommonNOX::Connections
{

using Shared::Synchronization::ScopedLock;

std::shared_ptr<ConnectionManager>
ConnectionManager::InstallConnectionManager(const std::shared_ptr<const Shared::GuiContexts::ReaderInterface> &reader,
                                            const QString &deviceClass, const QString &deviceSeries,
                                            const QMap<QString, ConnectionFactory> &factories,
                                            const SchemeExtractor &schemeExtractor, int defaultTimeout)
{
    const auto manager = makeShared(reader, deviceClass, deviceSeries, schemeExtractor);
    for (auto factory = factories.begin(); factory != factories.end(); ++factory)
        manager->registerTransportProtocol(factory.key(), factory.value());
    const auto store = [&](const QString &key, const QVariant &value) {
        const auto tree = manager->getConfigurationTree();
        return tree->write(Paths::ManagerLeaf(*tree, deviceClass, deviceSeries, key), value);
    };
    bool isStored = store(Paths::Manager, QVariant::fromValue(manager));
    isStored = store(Paths::Schemes, QStringList(factories.keys())) && isStored;
    if (defaultTimeout > 0)
        isStored = store(Paths::DefaultConnectionTimeout, defaultTimeout) && isStored;
    if (isStored)
        return manager;
    qCWarning(libraryLog()).noquote().nospace()
        << "ConnectionManager::InstallConnectionManager() failed to create connection manager for class=" << deviceClass
        << " and series=" << deviceSeries;
    return {};
}

ConnectionManager::ConnectionManager(const std::shared_ptr<const Shared::GuiContexts::ReaderInterface> &reader,
                                     const QString &deviceClass, const QString &deviceSeries,
                                     const SchemeExtractor &schemeExtractor)
    : GuiContextVisitor(reader), m_class(deviceClass), m_series(deviceSeries), m_schemeExtractor(schemeExtractor)
{
    makeRequestObjects();
    publishRequestObjects();
    moveToApplicationMainThread(this);
}

ConnectionManager::ConnectionManager(const ConnectionManager &other)
    : QObject(), SharedLockable(other), std::enable_shared_from_this<ConnectionManager>(), GuiContextVisitor(other),
      m_class(other.m_class), m_series(other.m_series), m_schemeExtractor(other.m_schemeExtractor)
{
    {
        const ScopedLock lock(other);
        m_factories = other.m_factories;
    }
    makeRequestObjects();
    moveToApplicationMainThread(this);
}

ConnectionManager::~ConnectionManager() = default;

void ConnectionManager::makeRequestObjects()
{
    qRegisterMetaType<ConnectionStatus>("CommonNOX::ConnectionStatus");
    m_connectParser = std::make_shared<ConnectionRequestParser>(m_schemeExtractor);
    m_disconnectParser = std::make_shared<DisconnectRequestParser>();
    // Its signal is for the applications; the manager itself has no notion of a suspended connection.
    m_suspendParser = std::make_shared<DisconnectRequestParser>();
    m_reconnectParser = std::make_shared<ReconnectRequestParser>();
    m_counter = ActiveConnectionsCounter::makeShared();
    connect(m_connectParser.get(), &ConnectionRequestParser::connectionRequest, this,
            &ConnectionManager::connectToDevice);
    connect(m_disconnectParser.get(), &DisconnectRequestParser::disconnectRequest, this,
            [this](const QString &connectionId) {
                handleConnectionStatusChange(connectionId, ConnectionStatus::Disconnected, {});
            });
    connect(m_reconnectParser.get(), &ReconnectRequestParser::reconnectRequest, this,
            &ConnectionManager::onConnectionReconnectRequested);
}

bool ConnectionManager::publishRequestObjects() const
{
    const auto tree = getConfigurationTree();
    const auto leaf = [&](const QString &key) { return Paths::ManagerLeaf(*tree, m_class, m_series, key); };
    return tree->setParser(leaf(Paths::Connect), m_connectParser) &&
           tree->setParser(leaf(Paths::Disconnect), m_disconnectParser) &&
           tree->setParser(leaf(Paths::Suspend), m_suspendParser) &&
           tree->setParser(leaf(Paths::Reconnect), m_reconnectParser) &&
           tree->write(leaf(Paths::ActiveConnections), QVariant::fromValue(m_counter));
}

QString ConnectionManager::getId() const
{
    return m_class + QLatin1Char('/') + m_series;
}

bool ConnectionManager::registerTransportProtocol(const QString &scheme, const ConnectionFactory &factory)
{
    const ScopedLock lock(*this);
    if (m_factories.contains(scheme))
        return false;
    m_factories.insert(scheme, factory);
    return true;
}

QString ConnectionManager::connectToDevice(const QVariant &connectData)
{
    const ScopedLock lock(*this);
    if (!connectData.isValid() || !m_schemeExtractor)
        return {};
    const ConnectionFactory factory = m_factories.value(m_schemeExtractor(connectData));
    const std::shared_ptr<Connection> connection = factory ? factory(connectData) : nullptr;
    if (!connection)
        return {};
    const QString id = connection->getId();
    const auto tree = getConfigurationTree();
    bool isRecorded = tree->write(Paths::ConnectionLeaf(*tree, id), QVariant::fromValue(connection));
    isRecorded = tree->write(Paths::ClassLeaf(*tree, id), m_class) && isRecorded;
    isRecorded = tree->write(Paths::SeriesLeaf(*tree, id), m_series) && isRecorded;
    isRecorded = tree->write(Paths::UrlLeaf(*tree, id), connectData) && isRecorded;
    follow(connection, connectData);
    handleConnectionStatusChange(id, ConnectionStatus::Connecting, {});
    connection->open();
    return isRecorded ? id : QString();
}

void ConnectionManager::follow(const std::shared_ptr<Connection> &connection, const QVariant &connectData)
{
    const std::weak_ptr<Connection> weak = connection;
    connect(connection.get(), &Connection::connectionEstablished, this, [this, weak, connectData] {
        if (const auto opened = weak.lock())
            onDeviceConnected(connectData, opened->getId());
    });
    connect(connection.get(), &Connection::connectionClosed, this, [this, weak, connectData] {
        if (const auto closed = weak.lock())
            onDeviceDisconnected(connectData, closed->getId(), closed->closeReason());
    });
    connect(connection.get(), &Connection::connectionFailed, this, [this, weak, connectData] {
        if (const auto failed = weak.lock())
            onConnectionFailed(connectData, failed->getId());
    });
}

std::shared_ptr<ConnectionManager::Connection> ConnectionManager::readConnection(const QString &connectionId) const
{
    const auto tree = getConfigurationTree();
    return tree->read(Paths::ConnectionLeaf(*tree, connectionId)).value<std::shared_ptr<Connection>>();
}

bool ConnectionManager::disconnectFromDevice(const QString &connectionId, const QVariant &reason)
{
    const ScopedLock lock(*this);
    const auto connection = readConnection(connectionId);
    if (!connection)
        return false;
    if (connection->isOpen())
        connection->close(reason);
    emit deviceDisconnected(connectionId, reason);
    return true;
}

void ConnectionManager::handleConnectionStatusChange(const QString &connectionId, const ConnectionStatus &status,
                                                     const QVariant &detail)
{
    qCInfo(libraryLog()).noquote().nospace()
        << "ConnectionManager::handleConnectionStatusChange() connectionId=" << connectionId
        << " status=" << int(status) << " detail=" << detail.toString();
    switch (status) {
    case ConnectionStatus::Connecting:
        emit deviceConnectStatusChanged(connectionId, status);
        m_counter->onConnectionEvent(status, connectionId);
        break;
    case ConnectionStatus::Established:
        // The counter first, here alone, on purpose: who hears of the connection finds it counted as established.
        m_counter->onConnectionEvent(status, connectionId);
        emit deviceConnectStatusChanged(connectionId, status);
        emit deviceConnected(connectionId);
        break;
    case ConnectionStatus::Failed:
    case ConnectionStatus::Disconnected:
        emit deviceConnectStatusChanged(connectionId, status);
        // A connection that closes at once tells so from within, and is told twice as disconnected: kept on purpose.
        disconnectFromDevice(connectionId, detail);
        m_counter->onConnectionEvent(status, connectionId);
        break;
    case ConnectionStatus::Disconnecting:
        break;
    }
}

void ConnectionManager::onDeviceConnected(const QVariant &connectData, const QString &connectionId)
{
    qCInfo(libraryLog()).noquote().nospace()
        << "ConnectionManager::onDeviceConnected() deviceData=" << connectData.toString()
        << " connection id=" << connectionId;
    handleConnectionStatusChange(connectionId, ConnectionStatus::Established, {});
}

void ConnectionManager::onConnectionFailed(const QVariant &connectData, const QString &connectionId)
{
    qCInfo(libraryLog()).noquote().nospace()
        << "ConnectionManager::onDeviceConnectionFailed() deviceData=" << connectData.toString()
        << " connection id=" << connectionId;
    handleConnectionStatusChange(connectionId, ConnectionStatus::Failed, {});
}

void ConnectionManager::onDeviceDisconnected(const QVariant &connectData, const QString &connectionId,
                                             const QVariant &reason)
{
    qCInfo(libraryLog()).noquote().nospace()
        << "ConnectionManager::onDeviceDisconnected() deviceData=" << connectData.toString()
        << " connection id=" << connectionId;
    handleConnectionStatusChange(connectionId, ConnectionStatus::Disconnected, reason);
}

void ConnectionManager::onConnectionReconnectRequested(const QString &connectionId)
{
    const ScopedLock lock(*this);
    const auto tree = getConfigurationTree();
    const auto connection = readConnection(connectionId);
    const QUrl url = tree->read(Paths::UrlLeaf(*tree, connectionId)).toUrl();
    if (connection && url.isValid()) {
        handleConnectionStatusChange(connectionId, ConnectionStatus::Connecting, {});
        if (!connection->open())
            qCWarning(libraryLog()).noquote().nospace()
                << "ConnectionManager::onConnectionReconnectRequested() failed to open connection=" << connectionId;
        return;
    }
    qCWarning(libraryLog()).noquote().nospace()
        << "ConnectionManager::onConnectionReconnectRequested() received unknown connection=" << connectionId
        << " or invalid url=" << url.toString();
    // The group of anything but an id would be more than a record.
    if (!connectionId.isEmpty() && !connectionId.contains(tree->getListSeparator()))
        tree->dropGroup(Paths::ConnectionGroup(*tree, connectionId));
}

} // namespace CommonNOX::Connections
