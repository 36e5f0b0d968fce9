#pragma once

#include "connections/discovery/ssdp_device_cache.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVector>

namespace NoxHost
{

/// Under which names instruments announce themselves: a device "urn:nox-instruments:device:pd:1" with the service
/// "urn:nox-instruments:service:measurement:1", whose location is the URL to connect to.
namespace InstrumentNames
{
inline constexpr char Domain[] = "nox-instruments";
inline constexpr char DeviceType[] = "pd";
inline constexpr char Service[] = "measurement";
} // namespace InstrumentNames

/// What a person wants to know of one device on the network.
struct DiscoveredDevice
{
    QString uuid;
    QString name; ///< product and version as the device tells them, else the uuid
    QString type; ///< "urn:..." of the device, "upnp:rootdevice" while it has told no more
    QUrl url;
    QDateTime expiry; ///< UTC, the latest of its names
    QStringList services;
    bool isInstrument = false;
};

/// One for each uuid, from what was heard of all its names; instruments first, then in order of type, name and URL.
QVector<DiscoveredDevice> groupByDevice(const QVector<CommonNOX::Connections::SsdpDevice> &names);

} // namespace NoxHost
