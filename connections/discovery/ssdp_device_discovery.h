#pragma once

#include "connections/discovery/ssdp_device_cache.h"
#include "nox_export.h"

#include <QHostAddress>
#include <QObject>

#include <chrono>
#include <functional>
#include <memory>

namespace CommonNOX::Connections
{

struct SsdpDiscoverySettings
{
    /// The one interface to search on, loopback too; empty for all that take part in discovery.
    QString interfaceName;
    /// Whether to keep devices whose location is on another host than the one that told of it.
    bool acceptForeignHosts = false;
    QString searchTarget = QStringLiteral("ssdp:all");
    /// Seconds from 1 to 5 over which devices spread their answers (MX).
    int maximumWait = 3;
    std::chrono::milliseconds searchInterval{60000};
    std::chrono::milliseconds sweepInterval{1000};
    /// Gives the time in UTC; the system's when not set.
    std::function<QDateTime()> clock;
};

/// Searches the local network for devices and keeps what answers or announces itself until it says good-bye or its
/// time is over.
///
/// For one thread, which needs an event loop. Slots may call anything here, but delete the object only with
/// `deleteLater()`.
class NOX_EXPORT SsdpDeviceDiscovery : public QObject
{
    Q_OBJECT
public:
    explicit SsdpDeviceDiscovery(const SsdpDiscoverySettings &settings = {}, QObject *parent = nullptr);
    ~SsdpDeviceDiscovery() override;

    /// Searches at once and then every `searchInterval`. Without an interface to search on it says so in the log and
    /// looks again at each search.
    void start();
    /// Ends the search and forgets every device, told as gone.
    void stop();
    bool isRunning() const;
    /// One search on every interface, beside the regular ones. Nothing unless running.
    void search();
    /// Whether there is an interface to search on.
    bool hasInterfaces() const;

    /// What is known now, at most `SsdpDeviceCache::MaximumCount`.
    QVector<SsdpDevice> getDevices() const;

    /// Takes a message as if it had come from the network; an answer counts as confirmation. Running or not.
    void addMessage(const SsdpMessage &message, const QHostAddress &sender);
    /// Drops what has expired, as is done every `sweepInterval`.
    void sweep();

signals:
    void deviceFound(const CommonNOX::Connections::SsdpDevice &device);
    /// It has another location, or has been started anew.
    void deviceChanged(const CommonNOX::Connections::SsdpDevice &device);
    /// It said good-bye, expired, or was displaced. Follows exactly one `deviceFound` of the name.
    void deviceGone(const CommonNOX::Connections::SsdpDevice &device);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace CommonNOX::Connections
