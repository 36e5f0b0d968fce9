#include "host/discovery/discovered_device.h"

#include "connections/discovery/ssdp_target.h"

#include <QHash>

#include <algorithm>
#include <tuple>

namespace NoxHost
{

using CommonNOX::Connections::SsdpDevice;
using CommonNOX::Connections::SsdpTarget;
using CommonNOX::Connections::SsdpUniqueName;

namespace
{

/// What follows "OS/VERSION UPnP/VERSION" in the words of SERVER, as "product version".
QString productOf(const QString &server)
{
    const int found = server.indexOf(QLatin1String("UPnP/"));
    const int space = found < 0 ? -1 : server.indexOf(QLatin1Char(' '), found);
    return space < 0 ? QString() : server.mid(space + 1).replace(QLatin1Char('/'), QLatin1Char(' ')).simplified();
}

bool isInstrumentType(const SsdpTarget &target)
{
    return target.getKind() == SsdpTarget::Kind::DeviceType &&
           target.getDomain() == QLatin1String(InstrumentNames::Domain) &&
           target.getType() == QLatin1String(InstrumentNames::DeviceType);
}

/// How much a name tells of its device.
int rankOf(const SsdpTarget &target)
{
    if (isInstrumentType(target))
        return 3;
    if (target.getKind() == SsdpTarget::Kind::DeviceType)
        return 2;
    return target.getKind() == SsdpTarget::Kind::RootDevice ? 1 : 0;
}

void addName(DiscoveredDevice &device, const SsdpDevice &heard, const SsdpTarget &target)
{
    if (target.getKind() == SsdpTarget::Kind::ServiceType)
        device.services.append(target.toString());
    const int rank = rankOf(target);
    if (device.url.isEmpty() || rank > rankOf(SsdpTarget::Parse(device.type))) {
        device.type = rank > 0 ? target.toString() : SsdpTarget::RootDevice().toString();
        device.url = heard.location;
    }
    device.isInstrument = device.isInstrument || isInstrumentType(target);
    if (device.name.isEmpty())
        device.name = productOf(heard.getHeader(QStringLiteral("SERVER")));
    if (!device.expiry.isValid() || device.expiry < heard.expiry)
        device.expiry = heard.expiry;
}

} // namespace

QVector<DiscoveredDevice> groupByDevice(const QVector<SsdpDevice> &names)
{
    QHash<QString, DiscoveredDevice> devices;
    for (const SsdpDevice &heard : names) {
        const SsdpUniqueName name = SsdpUniqueName::Parse(heard.usn);
        // A name of no known form stands for itself.
        const QString uuid = name.uuid.isEmpty() ? heard.usn : name.uuid;
        DiscoveredDevice &device = devices[uuid];
        device.uuid = uuid;
        addName(device, heard, name.target);
    }
    QVector<DiscoveredDevice> ordered;
    for (DiscoveredDevice &device : devices) {
        if (device.name.isEmpty())
            device.name = device.uuid;
        device.services.sort();
        ordered.append(device);
    }
    const auto key = [](const DiscoveredDevice &device) {
        return std::make_tuple(!device.isInstrument, device.type, device.name, device.url.toString(), device.uuid);
    };
    std::sort(ordered.begin(), ordered.end(), [&](const auto &a, const auto &b) { return key(a) < key(b); });
    return ordered;
}

} // namespace NoxHost
