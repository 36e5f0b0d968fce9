#pragma once

#include "nox_export.h"

#include <QHostAddress>
#include <QNetworkAddressEntry>
#include <QString>
#include <QVector>

namespace CommonNOX::Connections
{

/// What discovery needs to know of a network interface.
struct NOX_EXPORT SsdpInterface
{
    int index = 0;
    QString name;
    QString humanReadableName;
    bool isUp = false;
    bool isLoopback = false;
    QVector<QNetworkAddressEntry> addresses;

    /// The first address of IPv4, which messages leave from; null when there is none.
    QHostAddress getAddress() const;
    bool operator==(const SsdpInterface &) const = default;
};

/// Which interfaces take part.
struct SsdpInterfaceSelection
{
    /// Only the interface of this name, system name or human-readable, whatever it is; all that are fit when empty.
    QString name;
    /// Loopback too. For programs that meet on one machine.
    bool withLoopback = false;
};

/// The interfaces of this machine, those that are down included.
NOX_EXPORT QVector<SsdpInterface> ListSsdpInterfaces();

/// Those of `interfaces` that take part: up, with an address of IPv4, not loopback, and not named "VirtualBox", as
/// far as the selection does not name one.
NOX_EXPORT QVector<SsdpInterface> SelectSsdpInterfaces(const QVector<SsdpInterface> &interfaces,
                                                       const SsdpInterfaceSelection &selection);

/// The interface in one of whose subnets the sender is; null when it is in none.
NOX_EXPORT const SsdpInterface *FindSsdpInterface(const QVector<SsdpInterface> &interfaces, const QHostAddress &sender);

} // namespace CommonNOX::Connections
