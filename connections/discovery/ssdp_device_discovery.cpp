#include "connections/discovery/ssdp_device_discovery.h"

#include "connections/discovery/ssdp_location.h"
#include "connections/discovery/ssdp_network.h"
#include "connections/discovery/ssdp_text.h"
#include "entries/log.h"

#include <QTimer>

#include <algorithm>

namespace CommonNOX::Connections
{

struct SsdpDeviceDiscovery::Private
{
    explicit Private(const SsdpDiscoverySettings &given)
        : settings(given), network({given.interfaceName, !given.interfaceName.isEmpty()})
    {}

    QDateTime now() const { return settings.clock ? settings.clock() : QDateTime::currentDateTimeUtc(); }
    SsdpMessage makeSearch() const;
    QDateTime expiryOf(const SsdpMessage &message, const QString &usn) const;
    void noteRefusal(const SsdpMessage &message, const QHostAddress &sender);
    void noteDisplacement();

    const SsdpDiscoverySettings settings;
    SsdpNetwork network;
    SsdpDeviceCache cache;
    QTimer searchTimer;
    QTimer sweepTimer;
    bool isRunning = false;
    // One line a search, however much of it comes.
    bool isRefusalNoted = false;
    bool isDisplacementNoted = false;
};

SsdpMessage SsdpDeviceDiscovery::Private::makeSearch() const
{
    SsdpMessage message(SsdpMessage::Kind::Search);
    message.setHeader(Ssdp::Header::Host, MakeSsdpHost());
    message.setHeader(Ssdp::Header::Man, Ssdp::Discover);
    message.setHeader(Ssdp::Header::Mx, QString::number(std::clamp(settings.maximumWait, 1, Ssdp::MaximumWait)));
    message.setHeader(Ssdp::Header::St, settings.searchTarget);
    message.setHeader(Ssdp::Header::UserAgent,
                      MakeSsdpProduct(QStringLiteral("OS"), QStringLiteral("0.0"),
                                      QStringLiteral("SsdpDeviceDiscovery"), QStringLiteral("1.0")));
    return message;
}

/// An update tells no age of its own and leaves that of the announcement.
QDateTime SsdpDeviceDiscovery::Private::expiryOf(const SsdpMessage &message, const QString &usn) const
{
    const auto maximumAge = message.getMaximumAge();
    const SsdpDevice *known = cache.find(usn);
    const bool isUpdate = message.getKind() == SsdpMessage::Kind::Notify &&
                          message.getNotification() == SsdpMessage::Notification::Update;
    if (!maximumAge && isUpdate && known)
        return known->expiry;
    return now().addSecs(maximumAge.value_or(Ssdp::DefaultMaximumAge));
}

void SsdpDeviceDiscovery::Private::noteRefusal(const SsdpMessage &message, const QHostAddress &sender)
{
    if (!isRefusalNoted)
        qCInfo(libraryLog, "Discovery ignores \"%s\" from %s as a location",
               qUtf8Printable(message.getHeader(Ssdp::Header::Location).left(200)), qUtf8Printable(sender.toString()));
    isRefusalNoted = true;
}

void SsdpDeviceDiscovery::Private::noteDisplacement()
{
    if (!isDisplacementNoted)
        qCWarning(libraryLog, "Discovery hears of more devices than it keeps, the oldest unconfirmed are dropped");
    isDisplacementNoted = true;
}

SsdpDeviceDiscovery::SsdpDeviceDiscovery(const SsdpDiscoverySettings &settings, QObject *parent)
    : QObject(parent), d(std::make_unique<Private>(settings))
{
    connect(&d->network, &SsdpNetwork::messageReceived, this,
            [this](const SsdpMessage &message, const SsdpSource &source) { addMessage(message, source.address); });
    connect(&d->searchTimer, &QTimer::timeout, this, &SsdpDeviceDiscovery::search);
    connect(&d->sweepTimer, &QTimer::timeout, this, &SsdpDeviceDiscovery::sweep);
}

SsdpDeviceDiscovery::~SsdpDeviceDiscovery()
{
    // Nobody is told any more by an object that is half gone.
    d->network.close();
}

void SsdpDeviceDiscovery::start()
{
    if (d->isRunning)
        return;
    d->isRunning = true;
    search();
    if (!hasInterfaces())
        qCInfo(libraryLog, "Discovery has no network interface to search on");
    d->searchTimer.start(d->settings.searchInterval);
    d->sweepTimer.start(d->settings.sweepInterval);
}

void SsdpDeviceDiscovery::stop()
{
    if (!d->isRunning)
        return;
    d->isRunning = false;
    d->searchTimer.stop();
    d->sweepTimer.stop();
    d->network.close();
    const QVector<SsdpDevice> forgotten = d->cache.takeAll();
    for (const SsdpDevice &device : forgotten)
        emit deviceGone(device);
}

bool SsdpDeviceDiscovery::isRunning() const
{
    return d->isRunning;
}

void SsdpDeviceDiscovery::search()
{
    if (!d->isRunning)
        return;
    d->isRefusalNoted = false;
    d->isDisplacementNoted = false;
    d->network.refresh();
    const QByteArray datagram = d->makeSearch().toDatagram();
    const QVector<SsdpInterface> interfaces = d->network.getInterfaces();
    for (const SsdpInterface &interface : interfaces)
        d->network.multicast(interface, datagram);
}

bool SsdpDeviceDiscovery::hasInterfaces() const
{
    return !d->network.getInterfaces().isEmpty();
}

QVector<SsdpDevice> SsdpDeviceDiscovery::getDevices() const
{
    return d->cache.getDevices();
}

void SsdpDeviceDiscovery::addMessage(const SsdpMessage &message, const QHostAddress &sender)
{
    const bool isAnswer = message.getKind() == SsdpMessage::Kind::SearchResponse;
    const QString usn = message.getHeader(Ssdp::Header::Usn);
    if ((!isAnswer && message.getKind() != SsdpMessage::Kind::Notify) || usn.isEmpty())
        return;
    if (!isAnswer && message.getNotification() == SsdpMessage::Notification::ByeBye) {
        const SsdpDevice gone = d->cache.take(usn);
        if (!gone.usn.isEmpty())
            emit deviceGone(gone);
        return;
    }
    const QUrl location =
        ReadSsdpLocation(message.getHeader(Ssdp::Header::Location), sender, d->settings.acceptForeignHosts);
    if (!location.isValid()) {
        d->noteRefusal(message, sender);
        return;
    }
    const SsdpDevice device{usn, location, message.getHeaders(), d->expiryOf(message, usn)};
    const auto result = d->cache.put(device, isAnswer);
    if (!result.displaced.isEmpty())
        d->noteDisplacement();
    for (const SsdpDevice &displaced : result.displaced)
        emit deviceGone(displaced);
    if (result.change == SsdpDeviceCache::Change::Found)
        emit deviceFound(device);
    else if (result.change == SsdpDeviceCache::Change::Changed)
        emit deviceChanged(device);
}

void SsdpDeviceDiscovery::sweep()
{
    const QVector<SsdpDevice> expired = d->cache.takeExpired(d->now());
    for (const SsdpDevice &device : expired)
        emit deviceGone(device);
}

} // namespace CommonNOX::Connections
