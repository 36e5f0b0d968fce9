#pragma once

#include "nox_export.h"

#include <QByteArray>
#include <QMetaType>
#include <QObject>
#include <QString>
#include <QVector>

#include <optional>

namespace CommonNOX::Connections
{

struct SsdpHeader
{
    QString name;
    QString value;
    bool operator==(const SsdpHeader &) const = default;
};

/// One message of the discovery protocol: its kind and its headers in order.
///
/// Names are in upper case and values without control or formatting characters and outer spaces, whoever wrote them:
/// neither a terminal nor a further header can be reached through a value.
class NOX_EXPORT SsdpMessage
{
    Q_GADGET
public:
    enum class Kind { None = 0, Notify = 1, Search = 2, SearchResponse = 3 };
    Q_ENUM(Kind)
    enum class Notification { Alive = 0, ByeBye = 1, Update = 2 };
    Q_ENUM(Notification)

    SsdpMessage() = default;
    explicit SsdpMessage(Kind kind) : m_kind(kind) {}

    Kind getKind() const { return m_kind; }
    const QVector<SsdpHeader> &getHeaders() const { return m_headers; }
    /// Null when there is none of the name, which may be in any case; not null but empty when its value is.
    QString getHeader(const QString &name) const;
    /// Replaces the header of this name or appends it. A name that is no token of HTTP is refused.
    bool setHeader(const QString &name, const QString &value);

    /// What a notification tells; anything that is neither known word is an update.
    Notification getNotification() const;
    /// Seconds from 0 to 2^31-1 for which an announcement holds: the directive "max-age" among any others, 0 when it
    /// is negative. Nothing when there is none.
    std::optional<qint64> getMaximumAge() const;

    /// The bytes as every stack wants them: start line and headers, each ended by CRLF, and an empty line. Empty for
    /// kind `None`.
    QByteArray toDatagram() const;

    bool operator==(const SsdpMessage &) const = default;

private:
    Kind m_kind = Kind::None;
    QVector<SsdpHeader> m_headers;
};

/// What a datagram held; kind `None` and the reason when it is no message.
struct SsdpParseResult
{
    SsdpMessage message;
    QString error;
};

/// Reads any bytes. Lenient where stacks differ: lines may end with LF alone, the last empty line may be missing,
/// names come in any case, values with or without spaces and folded. The first line must be one of the three exactly.
/// Of a header that comes twice the first counts; a line that is none is skipped.
NOX_EXPORT SsdpParseResult ParseSsdpDatagram(const QByteArray &datagram);

/// The value of HOST: the group and its port.
NOX_EXPORT QString MakeSsdpHost();
/// The value of SERVER and USER-AGENT. What no token may hold becomes "-", an empty part "0".
NOX_EXPORT QString MakeSsdpProduct(const QString &system, const QString &systemVersion, const QString &product,
                                   const QString &productVersion);

/// A decimal number without sign; what exceeds 2^31-1 is that. Nothing for any other text.
NOX_EXPORT std::optional<qint64> ParseSsdpNumber(const QString &text);

} // namespace CommonNOX::Connections

Q_DECLARE_METATYPE(CommonNOX::Connections::SsdpMessage)
