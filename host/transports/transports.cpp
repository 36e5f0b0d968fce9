#include "host/transports/transports.h"

#include "host/replay/replay_connection.h"
#include "host/transports/simulator_connection.h"
#include "host/transports/tcp_connection.h"

#include <QUrl>

namespace NoxHost
{

using CommonNOX::Connections::ConnectionManager;

QMap<QString, ConnectionManager::ConnectionFactory> makeConnectionFactories()
{
    return {{QStringLiteral("tcp"),
             [](const QVariant &connectData) { return std::make_shared<TcpConnection>(connectData.toUrl()); }},
            {QStringLiteral("simulator"),
             [](const QVariant &connectData) { return std::make_shared<SimulatorConnection>(connectData.toUrl()); }},
            {QStringLiteral("replay"),
             [](const QVariant &connectData) { return std::make_shared<ReplayConnection>(connectData.toUrl()); }}};
}

QStringList networkSchemes()
{
    return {QStringLiteral("tcp")};
}

} // namespace NoxHost
