#include "connections/discovery/ssdp_device_cache.h"

#include "connections/discovery/ssdp_text.h"

#include <algorithm>

namespace CommonNOX::Connections
{

namespace
{

// What the allocator and the containers add, measured high: an entry, its place, its URL and time; two texts a header.
constexpr qint64 EntryOverhead = 640;
constexpr qint64 HeaderOverhead = 112;

qint64 sizeOf(const SsdpDevice &device)
{
    qint64 characters = device.usn.size() + 2 * qint64(device.location.toString().size());
    for (const SsdpHeader &header : device.headers)
        characters += header.name.size() + header.value.size();
    return EntryOverhead + HeaderOverhead * device.headers.size() + characters * qint64(sizeof(QChar));
}

bool isOtherThan(const SsdpDevice &known, const SsdpDevice &heard)
{
    return known.location != heard.location ||
           known.getHeader(Ssdp::Header::BootId) != heard.getHeader(Ssdp::Header::BootId);
}

} // namespace

QString SsdpDevice::getHeader(const QString &name) const
{
    const auto found = std::find_if(headers.begin(), headers.end(), [&](const SsdpHeader &header) {
        return header.name.compare(name, Qt::CaseInsensitive) == 0;
    });
    return found == headers.end() ? QString() : found->value;
}

SsdpDeviceCache::PutResult SsdpDeviceCache::put(const SsdpDevice &device, bool isAnswer)
{
    PutResult result;
    Entry entry{device, sizeOf(device), isAnswer};
    const auto known = m_places.constFind(device.usn);
    if (known == m_places.cend()) {
        result.change = Change::Found;
    } else {
        entry.isConfirmed = true;
        result.change = isOtherThan((*known)->device, device) ? Change::Changed : Change::None;
        remove(*known);
    }
    Entries &entries = listOf(entry);
    m_places.insert(device.usn, entries.insert(entries.end(), entry));
    m_size += entry.size;

    while (m_places.size() > MaximumCount || m_size > MaximumSize) {
        const SsdpDevice displaced = remove(m_unconfirmed.empty() ? m_confirmed.begin() : m_unconfirmed.begin());
        if (displaced.usn == device.usn)
            result.change = Change::None;
        else
            result.displaced.append(displaced);
    }
    return result;
}

SsdpDevice SsdpDeviceCache::take(const QString &usn)
{
    const auto known = m_places.constFind(usn);
    return known == m_places.cend() ? SsdpDevice() : remove(*known);
}

QVector<SsdpDevice> SsdpDeviceCache::takeExpired(const QDateTime &now)
{
    QVector<SsdpDevice> expired;
    for (Entries *entries : {&m_confirmed, &m_unconfirmed}) {
        for (auto place = entries->begin(); place != entries->end();) {
            const auto current = place++;
            if (current->device.expiry < now)
                expired.append(remove(current));
        }
    }
    return expired;
}

QVector<SsdpDevice> SsdpDeviceCache::takeAll()
{
    const QVector<SsdpDevice> all = getDevices();
    m_places.clear();
    m_confirmed.clear();
    m_unconfirmed.clear();
    m_size = 0;
    return all;
}

const SsdpDevice *SsdpDeviceCache::find(const QString &usn) const
{
    const auto known = m_places.constFind(usn);
    return known == m_places.cend() ? nullptr : &(*known)->device;
}

QVector<SsdpDevice> SsdpDeviceCache::getDevices() const
{
    QVector<SsdpDevice> devices;
    devices.reserve(m_places.size());
    for (const Entries *entries : {&m_confirmed, &m_unconfirmed}) {
        for (const Entry &entry : *entries)
            devices.append(entry.device);
    }
    return devices;
}

SsdpDevice SsdpDeviceCache::remove(Entries::iterator place)
{
    const SsdpDevice device = place->device;
    m_size -= place->size;
    m_places.remove(device.usn);
    listOf(*place).erase(place);
    return device;
}

} // namespace CommonNOX::Connections
