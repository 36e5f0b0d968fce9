#pragma once

#include "connections/connection_manager.h"

namespace NoxHost
{

/// The transports of this program by URL scheme: `tcp` to an instrument on the network, `simulator` to one inside this
/// process, `replay` to a recording.
QMap<QString, CommonNOX::Connections::ConnectionManager::ConnectionFactory> makeConnectionFactories();

/// Those of them that lead over the network: what a device that is found there may name as its own.
QStringList networkSchemes();

} // namespace NoxHost
