#pragma once

#include "connections/discovery/ssdp_interface.h"
#include "nox_export.h"

#include <QStringList>
#include <QUrl>

namespace CommonNOX::Connections
{

/// Tells discovery which URL schemes can be connected to, in place of those told before; "tcp" until then. Whoever
/// registers transports installs them here. Any thread.
NOX_EXPORT void SetConnectableSchemes(const QStringList &schemes);
/// In lower case. Any thread.
NOX_EXPORT QStringList GetConnectableSchemes();

/// Reads the location that a stranger sent. Invalid unless it is an absolute URL with a host, its scheme is one that
/// can be connected to or "http", and, unless foreign hosts are accepted, its host is the address of the sender.
NOX_EXPORT QUrl ReadSsdpLocation(const QString &text, const QHostAddress &sender, bool acceptForeignHost);

/// The location as it goes out on an interface: an unspecified host (0.0.0.0 or ::) becomes the interface's address.
/// Invalid when nobody out there could use it, which is a loopback host on an interface that is none.
NOX_EXPORT QUrl MakeSsdpLocation(const QUrl &location, const SsdpInterface &outlet);

} // namespace CommonNOX::Connections
