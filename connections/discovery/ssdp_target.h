#pragma once

#include "nox_export.h"

#include <QObject>
#include <QString>

namespace CommonNOX::Connections
{

/// What a search asks for (ST) or an announcement tells of (NT).
class NOX_EXPORT SsdpTarget
{
    Q_GADGET
public:
    enum class Kind { Invalid, All, RootDevice, Device, DeviceType, ServiceType };
    Q_ENUM(Kind)

    SsdpTarget() = default;
    static SsdpTarget All() { return SsdpTarget(Kind::All); }
    static SsdpTarget RootDevice() { return SsdpTarget(Kind::RootDevice); }
    static SsdpTarget Device(const QString &uuid);
    static SsdpTarget DeviceType(const QString &domain, const QString &type, int version);
    static SsdpTarget ServiceType(const QString &domain, const QString &type, int version);
    /// Reads the value of an ST or NT header; kind `Invalid` when it has none of the five forms.
    static SsdpTarget Parse(const QString &text);

    Kind getKind() const { return m_kind; }
    /// Of one device.
    const QString &getUuid() const { return m_uuid; }
    /// Of a type.
    const QString &getDomain() const { return m_domain; }
    const QString &getType() const { return m_type; }
    int getVersion() const { return m_version; }

    /// The value of the header; empty when invalid.
    QString toString() const;
    /// Whether who offers this answers a search for `asked`: for everything, for the same, or for the same type in a
    /// version up to its own.
    bool answers(const SsdpTarget &asked) const;

    bool operator==(const SsdpTarget &) const = default;

private:
    explicit SsdpTarget(Kind kind) : m_kind(kind) {}
    SsdpTarget(Kind kind, const QString &domain, const QString &type, int version);

    Kind m_kind = Kind::Invalid;
    QString m_uuid;
    QString m_domain;
    QString m_type;
    int m_version = 0;
};

/// A unique service name (USN): a device and what of it is meant.
struct NOX_EXPORT SsdpUniqueName
{
    QString uuid;
    SsdpTarget target;

    /// The uuid is empty when the text names no device; the target is invalid when only the device was understood.
    static SsdpUniqueName Parse(const QString &text);
    QString toString() const;
    bool operator==(const SsdpUniqueName &) const = default;
};

} // namespace CommonNOX::Connections
