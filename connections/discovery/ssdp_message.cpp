#include "connections/discovery/ssdp_message.h"

#include "connections/discovery/ssdp_text.h"

#include <algorithm>
#include <limits>

namespace CommonNOX::Connections
{

namespace
{

constexpr SsdpMessage::Kind Kinds[] = {SsdpMessage::Kind::Notify, SsdpMessage::Kind::Search,
                                       SsdpMessage::Kind::SearchResponse};

QLatin1String startLine(SsdpMessage::Kind kind)
{
    switch (kind) {
    case SsdpMessage::Kind::Notify:
        return Ssdp::StartLine::Notify;
    case SsdpMessage::Kind::Search:
        return Ssdp::StartLine::Search;
    case SsdpMessage::Kind::SearchResponse:
        return Ssdp::StartLine::SearchResponse;
    case SsdpMessage::Kind::None:
        break;
    }
    return {};
}

bool isTokenCharacter(QChar character)
{
    const ushort code = character.unicode();
    return code > 0x20 && code < 0x7f && !QStringLiteral("()<>@,;:\\\"/[]?={}").contains(character);
}

bool isToken(const QString &text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), isTokenCharacter);
}

/// Formatting characters go as well: they can turn the direction of what a terminal shows.
bool isHarmful(QChar character)
{
    switch (character.category()) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

QString cleaned(QString value)
{
    value.truncate(int(std::remove_if(value.begin(), value.end(), isHarmful) - value.begin()));
    return value.trimmed();
}

QString toToken(QString text)
{
    std::replace_if(
        text.begin(), text.end(), [](QChar character) { return !isTokenCharacter(character); }, QLatin1Char('-'));
    return text.isEmpty() ? QStringLiteral("0") : text;
}

/// Takes the next line from the rest, without its end.
QByteArray takeLine(const QByteArray &datagram, int &position)
{
    const int found = datagram.indexOf('\n', position);
    const int end = found < 0 ? datagram.size() : found;
    QByteArray line = datagram.mid(position, end - position);
    position = found < 0 ? datagram.size() : found + 1;
    if (line.endsWith('\r'))
        line.chop(1);
    return line;
}

struct RawHeader
{
    QString name;
    QByteArray value;
};

QVector<RawHeader> takeHeaders(const QByteArray &lines)
{
    QVector<RawHeader> headers;
    int position = 0;
    while (position < lines.size()) {
        const QByteArray line = takeLine(lines, position);
        if (line.isEmpty())
            break;
        if (line.startsWith(' ') || line.startsWith('\t')) {
            if (!headers.isEmpty())
                headers.last().value += ' ' + line.trimmed();
            continue;
        }
        const int colon = line.indexOf(':');
        const QString name = QString::fromLatin1(line.left(std::max(colon, 0)).trimmed());
        if (isToken(name) && headers.size() < Ssdp::MaximumHeaderCount)
            headers.append({name, line.mid(colon + 1)});
    }
    return headers;
}

} // namespace

QString SsdpMessage::getHeader(const QString &name) const
{
    const auto found = std::find_if(m_headers.cbegin(), m_headers.cend(), [&](const SsdpHeader &header) {
        return header.name.compare(name, Qt::CaseInsensitive) == 0;
    });
    if (found == m_headers.cend())
        return {};
    return found->value.isNull() ? QStringLiteral("") : found->value;
}

bool SsdpMessage::setHeader(const QString &name, const QString &value)
{
    if (!isToken(name))
        return false;
    const QString upperName = name.toUpper();
    const auto found = std::find_if(m_headers.begin(), m_headers.end(),
                                    [&](const SsdpHeader &header) { return header.name == upperName; });
    if (found != m_headers.end())
        found->value = cleaned(value);
    else
        m_headers.append({upperName, cleaned(value)});
    return true;
}

SsdpMessage::Notification SsdpMessage::getNotification() const
{
    const QString word = getHeader(Ssdp::Header::Nts);
    if (word == Ssdp::Notification::Alive)
        return Notification::Alive;
    return word == Ssdp::Notification::ByeBye ? Notification::ByeBye : Notification::Update;
}

std::optional<qint64> SsdpMessage::getMaximumAge() const
{
    const QStringList directives = getHeader(Ssdp::Header::CacheControl).split(QLatin1Char(','));
    for (const QString &directive : directives) {
        const int equals = directive.indexOf(QLatin1Char('='));
        if (directive.left(equals).trimmed().compare(QLatin1String("max-age"), Qt::CaseInsensitive) != 0)
            continue;
        const QString value = directive.mid(equals + 1).remove(QLatin1Char('"')).trimmed();
        if (value.startsWith(QLatin1Char('-')))
            return ParseSsdpNumber(value.mid(1)) ? std::optional<qint64>(0) : std::nullopt;
        return ParseSsdpNumber(value);
    }
    return std::nullopt;
}

QByteArray SsdpMessage::toDatagram() const
{
    if (m_kind == Kind::None)
        return {};
    const QLatin1String line = startLine(m_kind);
    QByteArray datagram(line.data(), line.size());
    datagram += "\r\n";
    for (const SsdpHeader &header : m_headers)
        datagram += header.name.toLatin1() + (header.value.isEmpty() ? ":" : ": ") + header.value.toUtf8() + "\r\n";
    return datagram + "\r\n";
}

SsdpParseResult ParseSsdpDatagram(const QByteArray &datagram)
{
    if (datagram.size() > Ssdp::MaximumDatagramSize)
        return {{}, QStringLiteral("longer than %1 bytes").arg(Ssdp::MaximumDatagramSize)};
    int position = 0;
    const QByteArray first = takeLine(datagram, position);
    const auto kind = std::find_if(std::begin(Kinds), std::end(Kinds),
                                   [&](SsdpMessage::Kind candidate) { return first == startLine(candidate).data(); });
    if (kind == std::end(Kinds))
        return {{}, QStringLiteral("an unknown first line")};
    SsdpMessage message(*kind);
    // Zeros would end a text of bytes early, hiding what follows them; no header may hold one.
    const QByteArray rest = datagram.mid(position).replace('\0', QByteArray());
    const QVector<RawHeader> headers = takeHeaders(rest);
    for (const RawHeader &header : headers) {
        if (message.getHeader(header.name).isNull())
            message.setHeader(header.name, QString::fromUtf8(header.value));
    }
    return {message, {}};
}

QString MakeSsdpHost()
{
    return QStringLiteral("%1:%2").arg(Ssdp::Group).arg(Ssdp::Port);
}

QString MakeSsdpProduct(const QString &system, const QString &systemVersion, const QString &product,
                        const QString &productVersion)
{
    return QStringLiteral("%1/%2 UPnP/1.1 %3/%4")
        .arg(toToken(system), toToken(systemVersion), toToken(product), toToken(productVersion));
}

std::optional<qint64> ParseSsdpNumber(const QString &text)
{
    constexpr qint64 Largest = std::numeric_limits<qint32>::max();
    if (text.isEmpty())
        return std::nullopt;
    qint64 number = 0;
    for (const QChar character : text) {
        if (character < QLatin1Char('0') || character > QLatin1Char('9'))
            return std::nullopt;
        number = std::min(number * 10 + (character.unicode() - '0'), Largest);
    }
    return number;
}

} // namespace CommonNOX::Connections
