#pragma once

#include "connections/connection_manager.h"

namespace NoxHost
{

/// The transports of this program by URL scheme: `tcp` to an instrument on the network, `simulator` to one inside this
/// process.
QMap<QString, CommonNOX::Connections::ConnectionManager::ConnectionFactory> makeConnectionFactories();

} // namespace NoxHost
