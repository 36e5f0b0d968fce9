#include "entries/wire_variant.h"

#include "entries/wire_cursor.h"

#include <bit>
#include <optional>

namespace CommonNOX
{

namespace
{

void copyFormat(const QDataStream &from, QDataStream &to)
{
    to.setVersion(from.version());
    to.setByteOrder(from.byteOrder());
    to.setFloatingPointPrecision(from.floatingPointPrecision());
}

template <class T>
T take(WireCursor &cursor)
{
    T value{};
    cursor.read(value);
    return value;
}

QVariantList readList(WireCursor &cursor, const QDataStream &format)
{
    QVariantList values;
    quint32 count = 0;
    if (!cursor.readCount(count, WireCursor::SmallestVariant))
        return values;
    values.reserve(int(count));
    for (quint32 i = 0; i < count; ++i)
        values.append(ReadVariant(cursor, format));
    return values;
}

/// The common values, without a detour through a stream; nothing for any other.
std::optional<QVariant> readCommon(WireCursor &cursor, const QDataStream &format)
{
    const WireCursor::Level level(cursor);
    if (!level)
        return std::nullopt;
    const auto type = take<quint32>(cursor);
    if (take<quint8>(cursor) != 0)
        return std::nullopt;
    switch (type) {
    case QMetaType::UnknownType:
        return QVariant();
    case QMetaType::Bool:
        return QVariant(take<quint8>(cursor) != 0);
    case QMetaType::Int:
        return QVariant(int(take<quint32>(cursor)));
    case QMetaType::UInt:
        return QVariant(take<quint32>(cursor));
    case QMetaType::LongLong:
        return QVariant(take<qint64>(cursor));
    case QMetaType::ULongLong:
        return QVariant(quint64(take<qint64>(cursor)));
    case QMetaType::Double:
        if (cursor.getRealSize() == sizeof(double))
            return QVariant(std::bit_cast<double>(take<qint64>(cursor)));
        return std::nullopt;
    case QMetaType::QString:
        return QVariant(take<QString>(cursor));
    case QMetaType::QVariantList:
        return QVariant(readList(cursor, format));
    case QMetaType::User: {
        const PayloadType *payload = cursor.readPayloadType();
        return payload && payload->decode ? std::optional(payload->decode(cursor, format)) : std::nullopt;
    }
    default:
        return std::nullopt;
    }
}

} // namespace

QVariant ReadVariant(WireCursor &cursor, const QDataStream &format)
{
    WireCursor ahead = cursor;
    if (std::optional<QVariant> common = readCommon(ahead, format)) {
        cursor = ahead;
        return std::move(*common);
    }
    const char *data = cursor.getData();
    const qint64 begin = cursor.getPosition();
    QVariant value;
    if (!cursor.skipVariant())
        return value;
    QDataStream stream(QByteArray::fromRawData(data, int(cursor.getPosition() - begin)));
    copyFormat(format, stream);
    stream >> value;
    return value;
}

} // namespace CommonNOX
