#pragma once

#include "nox_export.h"

#include <QString>

namespace Utilities
{
class ConfigurationTree;
}

/// Where connections, their managers and the requests of devices lie in the configuration tree.
namespace CommonNOX::Connections::Paths
{

/// nox/connections/ID: the record of a connection.
NOX_EXPORT QString ConnectionGroup(const Utilities::ConfigurationTree &tree, const QString &connectionId);
/// Its leaves: the connection itself, the class and series of its manager, and its connect data as received.
NOX_EXPORT QString ConnectionLeaf(const Utilities::ConfigurationTree &tree, const QString &connectionId);
NOX_EXPORT QString ClassLeaf(const Utilities::ConfigurationTree &tree, const QString &connectionId);
NOX_EXPORT QString SeriesLeaf(const Utilities::ConfigurationTree &tree, const QString &connectionId);
NOX_EXPORT QString UrlLeaf(const Utilities::ConfigurationTree &tree, const QString &connectionId);
/// The status as a text, for whoever follows one connection; the host writes it.
NOX_EXPORT QString StatusLeaf(const Utilities::ConfigurationTree &tree, const QString &connectionId);
/// The group in which the messages of the connection's protocol lie.
NOX_EXPORT QString ProtocolGroup(const Utilities::ConfigurationTree &tree, const QString &connectionId);

/// classes/CLASS/SERIES/KEY: what belongs to a connection manager, by the keys below.
NOX_EXPORT QString ManagerLeaf(const Utilities::ConfigurationTree &tree, const QString &deviceClass,
                               const QString &deviceSeries, const QString &key);

inline const QString Connect = QStringLiteral("connect");
inline const QString Disconnect = QStringLiteral("disconnect");
inline const QString Suspend = QStringLiteral("suspend");
inline const QString Reconnect = QStringLiteral("reconnect");
inline const QString ActiveConnections = QStringLiteral("active_connections");
inline const QString Manager = QStringLiteral("connection_manager");
inline const QString Schemes = QStringLiteral("schemes");
inline const QString DefaultConnectionTimeout = QStringLiteral("default_connection_timeout");

/// Below a connection's group.
inline const QString Status = QStringLiteral("status");
inline const QString Protocol = QStringLiteral("protocol");
/// Below a device's path.
inline const QString Request = QStringLiteral("request");
inline const QString Response = QStringLiteral("response");
inline const QString RequestResponseProvider = QStringLiteral("request_response_provider");

} // namespace CommonNOX::Connections::Paths
