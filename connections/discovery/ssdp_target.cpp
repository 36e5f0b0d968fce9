#include "connections/discovery/ssdp_target.h"

#include "connections/discovery/ssdp_message.h"
#include "connections/discovery/ssdp_text.h"

#include <QStringList>

namespace CommonNOX::Connections
{

using Ssdp::PartSeparator;
using Ssdp::UuidPrefix;

SsdpTarget::SsdpTarget(Kind kind, const QString &domain, const QString &type, int version)
    : m_kind(kind), m_domain(domain), m_type(type), m_version(version)
{}

SsdpTarget SsdpTarget::Device(const QString &uuid)
{
    SsdpTarget target(Kind::Device);
    target.m_uuid = uuid;
    return target;
}

SsdpTarget SsdpTarget::DeviceType(const QString &domain, const QString &type, int version)
{
    return SsdpTarget(Kind::DeviceType, domain, type, version);
}

SsdpTarget SsdpTarget::ServiceType(const QString &domain, const QString &type, int version)
{
    return SsdpTarget(Kind::ServiceType, domain, type, version);
}

SsdpTarget SsdpTarget::Parse(const QString &text)
{
    if (text == Ssdp::Everything)
        return All();
    if (text == Ssdp::RootDevice)
        return RootDevice();
    if (text.startsWith(UuidPrefix)) {
        const QString uuid = text.mid(UuidPrefix.size());
        return uuid.isEmpty() || uuid.contains(PartSeparator) ? SsdpTarget() : Device(uuid);
    }
    const QStringList parts = text.split(QLatin1Char(':'));
    if (parts.size() != 5 || parts[0] != QLatin1String("urn") || parts[1].isEmpty() || parts[3].isEmpty())
        return {};
    const auto version = ParseSsdpNumber(parts[4]);
    if (!version)
        return {};
    if (parts[2] == QLatin1String("device"))
        return DeviceType(parts[1], parts[3], int(*version));
    return parts[2] == QLatin1String("service") ? ServiceType(parts[1], parts[3], int(*version)) : SsdpTarget();
}

QString SsdpTarget::toString() const
{
    const auto urn = [this](const char *word) {
        return QStringLiteral("urn:%1:%2:%3:%4").arg(m_domain, QLatin1String(word), m_type, QString::number(m_version));
    };
    switch (m_kind) {
    case Kind::All:
        return Ssdp::Everything;
    case Kind::RootDevice:
        return Ssdp::RootDevice;
    case Kind::Device:
        return UuidPrefix + m_uuid;
    case Kind::DeviceType:
        return urn("device");
    case Kind::ServiceType:
        return urn("service");
    case Kind::Invalid:
        break;
    }
    return {};
}

bool SsdpTarget::answers(const SsdpTarget &asked) const
{
    if (m_kind == Kind::Invalid || m_kind == Kind::All)
        return false;
    if (asked.m_kind == Kind::All)
        return true;
    return m_kind == asked.m_kind && m_uuid == asked.m_uuid && m_domain == asked.m_domain && m_type == asked.m_type &&
           m_version >= asked.m_version;
}

SsdpUniqueName SsdpUniqueName::Parse(const QString &text)
{
    if (!text.startsWith(UuidPrefix))
        return {};
    const int separator = text.indexOf(PartSeparator, UuidPrefix.size());
    if (separator < 0) {
        const QString uuid = text.mid(UuidPrefix.size());
        return uuid.isEmpty() ? SsdpUniqueName() : SsdpUniqueName{uuid, SsdpTarget::Device(uuid)};
    }
    const QString uuid = text.mid(UuidPrefix.size(), separator - UuidPrefix.size());
    if (uuid.isEmpty())
        return {};
    SsdpTarget target = SsdpTarget::Parse(text.mid(separator + PartSeparator.size()));
    if (target.getKind() == SsdpTarget::Kind::All || target.getKind() == SsdpTarget::Kind::Device)
        target = {};
    return {uuid, target};
}

QString SsdpUniqueName::toString() const
{
    const bool isDevice = target.getKind() == SsdpTarget::Kind::Device;
    return isDevice ? UuidPrefix + uuid : UuidPrefix + uuid + PartSeparator + target.toString();
}

} // namespace CommonNOX::Connections
