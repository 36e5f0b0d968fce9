#include "connections/discovery/upnp_ssdp_service_announcer.h"

#include "connections/discovery/ssdp_device_announcer.h"
#include "connections/discovery/ssdp_text.h"

namespace CommonNOX::Connections
{

namespace
{

QString bareUuid(QString uuid)
{
    if (uuid.startsWith(Ssdp::UuidPrefix))
        uuid.remove(0, Ssdp::UuidPrefix.size());
    if (uuid.startsWith(QLatin1Char('{')) && uuid.endsWith(QLatin1Char('}')))
        uuid = uuid.mid(1, uuid.size() - 2);
    return uuid;
}

} // namespace

struct UpnpSsdpServiceAnnouncer::Private
{
    SsdpDeviceAnnouncer announcer;
};

UpnpSsdpServiceAnnouncer::UpnpSsdpServiceAnnouncer(const QString &uuid, const QString &domain, const QString &type,
                                                   const QStringList &services, const QUrl &descriptionUrl,
                                                   bool withLoopback, QObject *parent)
    : QObject(parent)
{
    SsdpAdvertisement advertisement;
    advertisement.uuid = bareUuid(uuid);
    advertisement.domain = domain;
    advertisement.type = type;
    advertisement.services = services;
    advertisement.location = descriptionUrl;
    SsdpAnnouncerSettings settings;
    settings.interfaces.withLoopback = withLoopback;
    d.reset(new Private{SsdpDeviceAnnouncer(advertisement, settings)});
}

UpnpSsdpServiceAnnouncer::~UpnpSsdpServiceAnnouncer() = default;

bool UpnpSsdpServiceAnnouncer::start()
{
    return d->announcer.start();
}

void UpnpSsdpServiceAnnouncer::stop()
{
    d->announcer.stop();
}

} // namespace CommonNOX::Connections
