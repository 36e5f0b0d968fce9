#pragma once

#include "entries/wire_cursor.h"

#include <QBuffer>
#include <QDataStream>
#include <QMetaType>
#include <QVector>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <cstring>
#include <type_traits>

namespace CommonNOX::Entries
{

/// How one element of a bulk vector stands in a data stream: `Size` bytes, written and read in either byte order.
/// The bytes are those of streaming its fields one by one.
template <class T>
struct WireCodec;

template <>
struct WireCodec<qint32>
{
    static constexpr int Size = 4;
    template <bool BigEndian>
    static void store(qint32 value, uchar *to)
    {
        BigEndian ? qToBigEndian(value, to) : qToLittleEndian(value, to);
    }
    template <bool BigEndian>
    static qint32 load(const uchar *from)
    {
        return BigEndian ? qFromBigEndian<qint32>(from) : qFromLittleEndian<qint32>(from);
    }
};

template <>
struct WireCodec<double>
{
    static constexpr int Size = 8;
    template <bool BigEndian>
    static void store(double value, uchar *to)
    {
        quint64 bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        BigEndian ? qToBigEndian(bits, to) : qToLittleEndian(bits, to);
    }
    template <bool BigEndian>
    static double load(const uchar *from)
    {
        const quint64 bits = BigEndian ? qFromBigEndian<quint64>(from) : qFromLittleEndian<quint64>(from);
        double value = 0.0;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
};

namespace Detail
{

constexpr int BulkElements = 512;

template <bool BigEndian, class T>
void WriteElements(QDataStream &stream, const QVector<T> &values)
{
    std::array<uchar, std::size_t(BulkElements) * WireCodec<T>::Size> scratch;
    for (int begin = 0; begin < values.size(); begin += BulkElements) {
        const int count = std::min(BulkElements, values.size() - begin);
        const T *from = values.constData() + begin;
        for (int i = 0; i < count; ++i)
            WireCodec<T>::template store<BigEndian>(from[i], scratch.data() + i * WireCodec<T>::Size);
        stream.writeRawData(reinterpret_cast<const char *>(scratch.data()), count * WireCodec<T>::Size);
    }
}

template <bool BigEndian, class T>
void LoadElements(const uchar *from, T *to, int count)
{
    for (int i = 0; i < count; ++i)
        to[i] = WireCodec<T>::template load<BigEndian>(from + qint64(i) * WireCodec<T>::Size);
}

template <bool BigEndian, class T>
void ReadElements(QDataStream &stream, QVector<T> &values, quint32 count)
{
    // Room for what the device can hold, so that a count alone allocates nothing.
    const qint64 present = stream.device() ? stream.device()->bytesAvailable() / WireCodec<T>::Size : 0;
    const auto *buffer = qobject_cast<const QBuffer *>(stream.device());
    if (buffer && present >= qint64(count)) {
        // In place: the bytes lie in memory already.
        values.resize(int(count));
        LoadElements<BigEndian>(reinterpret_cast<const uchar *>(buffer->data().constData()) + buffer->pos(),
                                values.data(), int(count));
        stream.skipRawData(int(count) * WireCodec<T>::Size);
        return;
    }
    std::array<uchar, std::size_t(BulkElements) * WireCodec<T>::Size> scratch;
    values.reserve(int(std::min<qint64>(count, present)));
    while (quint32(values.size()) < count) {
        const int chunk = int(std::min<quint32>(BulkElements, count - quint32(values.size())));
        const int bytes = chunk * WireCodec<T>::Size;
        if (stream.readRawData(reinterpret_cast<char *>(scratch.data()), bytes) != bytes) {
            values.clear();
            stream.setStatus(QDataStream::ReadPastEnd);
            return;
        }
        const int begin = values.size();
        values.resize(begin + chunk);
        LoadElements<BigEndian>(scratch.data(), values.data() + begin, chunk);
    }
}

} // namespace Detail

/// Writes the count and the elements as QVector's own operator does, a block at a time. Doubles are written in
/// double precision, whatever the stream's setting.
template <class T>
void WriteBulk(QDataStream &stream, const QVector<T> &values)
{
    stream << quint32(values.size());
    if (stream.byteOrder() == QDataStream::BigEndian)
        Detail::WriteElements<true>(stream, values);
    else
        Detail::WriteElements<false>(stream, values);
}

/// The reverse. Never allocates more than the device holds; a truncated stream gives an empty vector and the
/// status ReadPastEnd.
template <class T>
void ReadBulk(QDataStream &stream, QVector<T> &values)
{
    quint32 count = 0;
    stream >> count;
    values.clear();
    if (stream.status() != QDataStream::Ok)
        return;
    if (count > quint32(std::numeric_limits<int>::max()))
        stream.setStatus(QDataStream::ReadCorruptData);
    else if (stream.byteOrder() == QDataStream::BigEndian)
        Detail::ReadElements<true>(stream, values, count);
    else
        Detail::ReadElements<false>(stream, values, count);
}

/// Makes a bulk vector a payload of entries, streamed in bulk.
template <class T>
void RegisterBulkPayload()
{
    const int type = qMetaTypeId<QVector<T>>();
    QMetaType::registerStreamOperators(
        type,
        [](QDataStream &stream, const void *value) { WriteBulk(stream, *static_cast<const QVector<T> *>(value)); },
        [](QDataStream &stream, void *value) { ReadBulk(stream, *static_cast<QVector<T> *>(value)); });
    RegisterPayloadSkipper(
        QMetaType::typeName(type),
        [](WireCursor &cursor) {
            quint32 count = 0;
            return cursor.readCount(count, WireCodec<T>::Size) && cursor.skip(qint64(count) * WireCodec<T>::Size);
        },
        [](WireCursor &cursor, const QDataStream &) {
            QVector<T> values;
            quint32 count = 0;
            if (cursor.readCount(count, WireCodec<T>::Size)) {
                values.resize(int(count));
                const auto *from = reinterpret_cast<const uchar *>(cursor.getData());
                if (cursor.isBigEndian())
                    Detail::LoadElements<true>(from, values.data(), int(count));
                else
                    Detail::LoadElements<false>(from, values.data(), int(count));
                cursor.skip(qint64(count) * WireCodec<T>::Size);
            }
            return QVariant::fromValue(values);
        });
}

} // namespace CommonNOX::Entries
