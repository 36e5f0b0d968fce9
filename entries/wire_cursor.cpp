#include "entries/wire_cursor.h"

#include <QDateTime>
#include <QHash>
#include <QMetaType>
#include <QTimeZone>
#include <QVariant>
#include <QtEndian>

#include <algorithm>
#include <memory>
#include <shared_mutex>

namespace CommonNOX
{

namespace
{

// A text is at least its length.
constexpr qint64 SmallestString = 4;

struct Payloads
{
    std::shared_mutex mutex;
    // Types stay where they are, and for ever.
    QHash<QByteArray, std::shared_ptr<const PayloadType>> types;
};

Payloads &payloads()
{
    static Payloads instance;
    return instance;
}

const PayloadType *findPayload(const QByteArray &typeName)
{
    const std::shared_lock guard(payloads().mutex);
    const auto type = payloads().types.constFind(typeName);
    return type == payloads().types.constEnd() ? nullptr : type->get();
}

/// Bytes of a type of fixed size: a number of whole bytes and a number of reals.
struct FixedSize
{
    int type;
    int bytes;
    int reals;
};

constexpr FixedSize FixedSizes[] = {
    {QMetaType::Bool, 1, 0},      {QMetaType::Int, 4, 0},    {QMetaType::UInt, 4, 0},    {QMetaType::LongLong, 8, 0},
    {QMetaType::ULongLong, 8, 0}, {QMetaType::Double, 0, 1}, {QMetaType::QChar, 2, 0},   {QMetaType::QDate, 8, 0},
    {QMetaType::QTime, 4, 0},     {QMetaType::QRect, 16, 0}, {QMetaType::QRectF, 0, 4},  {QMetaType::QSize, 8, 0},
    {QMetaType::QSizeF, 0, 2},    {QMetaType::QLine, 16, 0}, {QMetaType::QLineF, 0, 4},  {QMetaType::QPoint, 8, 0},
    {QMetaType::QPointF, 0, 2},   {QMetaType::QUuid, 16, 0}, {QMetaType::Long, 8, 0},    {QMetaType::Short, 2, 0},
    {QMetaType::Char, 1, 0},      {QMetaType::ULong, 8, 0},  {QMetaType::UShort, 2, 0},  {QMetaType::UChar, 1, 0},
    {QMetaType::Float, 0, 1},     {QMetaType::SChar, 1, 0},  {QMetaType::Nullptr, 0, 0},
};

const FixedSize *findFixedSize(quint32 type)
{
    for (const FixedSize &fixed : FixedSizes) {
        if (quint32(fixed.type) == type)
            return &fixed;
    }
    return nullptr;
}

bool isVariableType(int type)
{
    switch (type) {
    case QMetaType::QVariantMap:
    case QMetaType::QVariantList:
    case QMetaType::QVariantHash:
    case QMetaType::QVariant:
    case QMetaType::QString:
    case QMetaType::QStringList:
    case QMetaType::QByteArray:
    case QMetaType::QByteArrayList:
    case QMetaType::QBitArray:
    case QMetaType::QDateTime:
    case QMetaType::QUrl:
    case QMetaType::QLocale:
    case QMetaType::QJsonObject:
    case QMetaType::QJsonArray:
    case QMetaType::QJsonDocument:
        return true;
    default:
        return false;
    }
}

} // namespace

WireCursor::WireCursor(const char *data, qint64 size, const QDataStream &format)
    : m_data(data), m_size(size), m_bigEndian(format.byteOrder() == QDataStream::BigEndian),
      m_realSize(format.floatingPointPrecision() == QDataStream::DoublePrecision ? 8 : 4)
{
    if (format.version() < QDataStream::Qt_5_2)
        fail();
}

bool WireCursor::fail(State state)
{
    if (m_state == State::Good)
        m_state = state;
    return false;
}

bool WireCursor::read(QString &value)
{
    const qint64 start = m_position;
    if (!skipString())
        return false;
    if (number<quint32>(m_data + start) == NullLength) {
        value = QString();
        return true;
    }
    const qint64 length = (m_position - start - 4) / 2;
    value = QString(int(length), Qt::Uninitialized);
    QChar *out = value.data();
    for (qint64 i = 0; i < length; ++i)
        out[i] = QChar(number<quint16>(m_data + start + 4 + 2 * i));
    return true;
}

bool WireCursor::readCount(quint32 &count, qint64 smallestElement)
{
    if (!read(count))
        return false;
    return qint64(count) * smallestElement <= getRemaining() || fail(State::PastEnd);
}

bool WireCursor::skipByteArray()
{
    quint32 length = 0;
    return read(length) && (length == NullLength || skip(length));
}

bool WireCursor::skipCountedStrings()
{
    quint32 count = 0;
    if (!readCount(count, SmallestString))
        return false;
    for (quint32 i = 0; i < count; ++i) {
        if (!skipString())
            return false;
    }
    return true;
}

bool WireCursor::skipAssociations()
{
    quint32 count = 0;
    if (!readCount(count, SmallestString + SmallestVariant))
        return false;
    for (quint32 i = 0; i < count; ++i) {
        if (!skipString() || !skipVariant())
            return false;
    }
    return true;
}

bool WireCursor::skipDateTime()
{
    quint8 spec = 0;
    if (!skip(12) || !read(spec))
        return false;
    if (spec == Qt::OffsetFromUTC)
        return skip(4);
    if (spec != Qt::TimeZone)
        return spec <= Qt::UTC || fail();
    QString zone;
    if (!readZone(zone))
        return false;
    if (zone != QLatin1String("OffsetFromUtc"))
        return true;
    // A zone made of an offset spells itself out: id, offset, name, abbreviation, country, comment.
    return readZone(zone) && skip(4) && skipString() && skipString() && skip(4) && skipString();
}

bool WireCursor::readZone(QString &zone)
{
    // Qt opens the file of that name: one outside the folder of zones may be a pipe that never answers.
    return read(zone) && (!zone.contains(QLatin1String("..")) || fail());
}

bool WireCursor::skipPayload(quint32 type)
{
    if (const FixedSize *fixed = findFixedSize(type))
        return skip(fixed->bytes + qint64(fixed->reals) * m_realSize);
    quint32 count = 0;
    switch (int(type)) {
    case QMetaType::QString:
    case QMetaType::QLocale:
        return skipString();
    case QMetaType::QByteArray:
    case QMetaType::QUrl:
    case QMetaType::QJsonObject:
    case QMetaType::QJsonArray:
    case QMetaType::QJsonDocument:
        return skipByteArray();
    case QMetaType::QStringList:
        return skipCountedStrings();
    case QMetaType::QByteArrayList:
        if (!readCount(count, 4))
            return false;
        for (quint32 i = 0; i < count; ++i) {
            if (!skipByteArray())
                return false;
        }
        return true;
    case QMetaType::QBitArray:
        return read(count) && skip((qint64(count) + 7) / 8);
    case QMetaType::QDateTime:
        return skipDateTime();
    case QMetaType::QVariant:
        return skipVariant();
    case QMetaType::QVariantList:
        if (!readCount(count, SmallestVariant))
            return false;
        for (quint32 i = 0; i < count; ++i) {
            if (!skipVariant())
                return false;
        }
        return true;
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash:
        return skipAssociations();
    default:
        // An unknown number would read as an invalid value and leave the stream out of step.
        return fail();
    }
}

bool WireCursor::skipVariant()
{
    const Level level(*this);
    quint32 type = 0;
    quint8 isNull = 0;
    if (!level || !read(type) || !read(isNull))
        return false;
    if (type == QMetaType::UnknownType)
        return true;
    if (type != QMetaType::User)
        return skipPayload(type);
    const PayloadType *payload = readPayloadType();
    return payload && payload->skip(*this);
}

const PayloadType *WireCursor::readPayloadType()
{
    const qint64 start = m_position;
    if (!skipByteArray())
        return nullptr;
    int length = int(std::max<qint64>(0, m_position - start - 4));
    const char *name = m_data + start + 4;
    if (length > 0 && name[length - 1] == '\0')
        --length;
    const PayloadType *type = findPayload(QByteArray::fromRawData(name, length));
    if (!type)
        fail();
    return type;
}

bool RegisterPayloadSkipper(const QByteArray &typeName, const PayloadSkipper &skipper, const PayloadDecoder &decoder)
{
    const std::unique_lock guard(payloads().mutex);
    if (payloads().types.contains(typeName))
        return false;
    payloads().types.insert(typeName, std::make_shared<const PayloadType>(PayloadType{skipper, decoder}));
    return true;
}

/// A time read with a zone that this machine does not know holds none, and Qt would follow a null pointer to write it.
static bool hasKnownZone(const QDateTime &time)
{
    return time.timeSpec() != Qt::TimeZone || time.timeZone().isValid();
}

bool IsStreamable(const QVariant &value, int levels)
{
    const int type = value.userType();
    const auto isGood = [levels](const QVariant &inner) { return IsStreamable(inner, levels - 1); };
    if (levels <= 0)
        return false;
    if (type == QMetaType::QDateTime)
        return hasKnownZone(value.toDateTime());
    if (type == QMetaType::QVariant)
        return isGood(*static_cast<const QVariant *>(value.constData()));
    if (type == QMetaType::QVariantList) {
        const auto list = value.toList();
        return std::all_of(list.begin(), list.end(), isGood);
    }
    if (type == QMetaType::QVariantMap) {
        const auto map = value.toMap();
        return std::all_of(map.begin(), map.end(), isGood);
    }
    if (type == QMetaType::QVariantHash) {
        const auto hash = value.toHash();
        return std::all_of(hash.begin(), hash.end(), isGood);
    }
    return type == QMetaType::UnknownType || findFixedSize(quint32(type)) || isVariableType(type) ||
           (type >= int(QMetaType::User) && findPayload(QMetaType::typeName(type)));
}

} // namespace CommonNOX
