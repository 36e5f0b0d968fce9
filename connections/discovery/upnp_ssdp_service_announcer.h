#pragma once

#include "nox_export.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <memory>

namespace CommonNOX::Connections
{

/// Advertises a device of this program and its services on the local network, from `start()` to `stop()`.
///
/// For one thread, which needs an event loop. See `SsdpDeviceAnnouncer` for what is sent and when.
class NOX_EXPORT UpnpSsdpServiceAnnouncer : public QObject
{
    Q_OBJECT
public:
    /// `uuid` with or without braces or "uuid:". The device is of type "urn:DOMAIN:device:TYPE:1"; services are named
    /// as in `SsdpAdvertisement`. A host of 0.0.0.0 or :: in `descriptionUrl` stands for the address of each interface
    /// that it is told on. `withLoopback` tells programs on this machine as well, on the loopback interface; a host
    /// that is a loopback address is told there only.
    UpnpSsdpServiceAnnouncer(const QString &uuid, const QString &domain, const QString &type,
                             const QStringList &services, const QUrl &descriptionUrl, bool withLoopback = false,
                             QObject *parent = nullptr);
    ~UpnpSsdpServiceAnnouncer() override;

    /// False, with a line in the log, when the parts make no valid names. Announcements follow from the event loop.
    bool start();
    /// Says good-bye before it returns. Also done by the destructor.
    void stop();

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace CommonNOX::Connections
