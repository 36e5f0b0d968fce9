#pragma once

#include "connections/discovery/ssdp_advertisement.h"
#include "connections/discovery/ssdp_interface.h"
#include "nox_export.h"

#include <QObject>

#include <chrono>
#include <memory>

namespace CommonNOX::Connections
{

struct SsdpAnnouncerSettings
{
    SsdpInterfaceSelection interfaces;
    /// The first set waits a random time up to this, so that devices which start together do not talk together.
    std::chrono::milliseconds longestFirstWait{100};
    /// How often the first set is sent, from 1 to 3, as datagrams get lost; and how far apart.
    int firstCopies = 3;
    std::chrono::milliseconds copyInterval{200};
    /// How often new interfaces are looked for.
    std::chrono::milliseconds lookInterval{10000};
};

/// Announces one device on the local network and answers searches for it.
///
/// Sets of announcements repeat at random times between a quarter and half of the advertisement's maximum age. A
/// search is answered after a random part of the time it allows, to where it came from; at most `MaximumPending`
/// answers wait at a time, what exceeds that is dropped. For one thread, which needs an event loop.
class NOX_EXPORT SsdpDeviceAnnouncer : public QObject
{
    Q_OBJECT
public:
    static constexpr int MaximumPending = 20;

    /// The advertisement's BOOTID and CONFIGID are filled in.
    explicit SsdpDeviceAnnouncer(const SsdpAdvertisement &advertisement, const SsdpAnnouncerSettings &settings = {},
                                 QObject *parent = nullptr);
    /// Stops.
    ~SsdpDeviceAnnouncer() override;

    /// False, with a line in the log, when the advertisement has a fault. Without a network interface it waits for
    /// one. Each start is a run with a BOOTID of its own.
    bool start();
    /// Says good-bye for every name, on every interface, before it returns.
    void stop();
    bool isRunning() const;
    quint32 getBootId() const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace CommonNOX::Connections
