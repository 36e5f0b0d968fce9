#include "entries/measurement/bulk_stream.h"
#include "entries/measurement/peak.h"
#include "entries/measurement/samples.h"
#include "record.h"

#include <QVariant>

#include <gtest/gtest.h>

#include <limits>

using namespace CommonNOX::Entries;
using namespace CommonNOX::Entries::Results::Space2D;

template <class T>
static T sample(int i)
{
    if constexpr (std::is_same_v<T, PeakData>)
        return {i * -77777, i * 99999, qint64(i) * -0x123456789ab, quint8(i * 7)};
    else
        return i == 1 ? std::numeric_limits<T>::lowest() : T(i * -12345.75);
}

/// The fields one after another, as every reader of old records takes them.
template <class T>
static void writePlain(QDataStream &stream, const QVector<T> &values)
{
    stream << quint32(values.size());
    for (const T &value : values) {
        if constexpr (std::is_same_v<T, PeakData>)
            stream << value.amplitude << value.voltage << value.time << value.flags;
        else
            stream << value;
    }
}

template <class T>
static void bulk(QDataStream &stream, QVector<T> &values, bool reading)
{
    if constexpr (std::is_same_v<T, PeakData>)
        reading ? stream >> values : stream << values;
    else
        reading ? ReadBulk(stream, values) : WriteBulk(stream, values);
}

template <class T>
class BulkStream : public testing::Test
{};
using Elements = testing::Types<PeakData, qint32, double>;
TYPED_TEST_SUITE(BulkStream, Elements, );

TYPED_TEST(BulkStream, TheBytesAreThoseOfFieldAfterField)
{
    // Around the size of the blocks in which vectors are converted.
    for (const int size : {0, 1, 511, 512, 513, 1025}) {
        for (const auto order : {QDataStream::BigEndian, QDataStream::LittleEndian}) {
            QVector<TypeParam> values;
            for (int i = 0; i < size; ++i)
                values.append(sample<TypeParam>(i));
            QByteArray bytes, plain, variant;
            QDataStream out(&bytes, QIODevice::WriteOnly), outPlain(&plain, QIODevice::WriteOnly);
            QDataStream outVariant(&variant, QIODevice::WriteOnly);
            for (QDataStream *stream : {&out, &outPlain, &outVariant})
                stream->setByteOrder(order);
            bulk(out, values, false);
            writePlain(outPlain, values);
            outVariant << QVariant::fromValue(values);
            ASSERT_EQ(bytes, plain) << size;
            ASSERT_TRUE(variant.endsWith(plain)) << size;

            QDataStream in(bytes + "behind");
            in.setByteOrder(order);
            QVector<TypeParam> read{sample<TypeParam>(3)};
            bulk(in, read, true);
            EXPECT_EQ(in.status(), QDataStream::Ok);
            ASSERT_EQ(read, values) << size;
            EXPECT_EQ(in.device()->bytesAvailable(), 6);

            // In an entry they are decoded without a stream.
            const QString name = QStringLiteral("N");
            QByteArray entry;
            QDataStream outEntry(&entry, QIODevice::WriteOnly);
            outEntry.setByteOrder(order);
            outEntry << Record(name, {{"N", QVariant::fromValue(values)}});
            Record target(name, {{"N", 1}});
            QDataStream inEntry(entry);
            inEntry.setByteOrder(order);
            inEntry >> target;
            ASSERT_EQ(target.get(name).template value<QVector<TypeParam>>(), values) << size;
        }
    }
}

TYPED_TEST(BulkStream, ACountThatLiesGivesNothing)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    QVector<TypeParam> written{sample<TypeParam>(1), sample<TypeParam>(2)};
    bulk(out, written, false);
    for (int size = 0; size < bytes.size(); ++size) {
        QDataStream in(bytes.left(size));
        QVector<TypeParam> read{sample<TypeParam>(3)};
        bulk(in, read, true);
        EXPECT_EQ(in.status(), QDataStream::ReadPastEnd) << size;
        EXPECT_TRUE(read.isEmpty()) << size;
    }
    for (const quint32 count : {3u, 0x0fffffffu, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
        qToBigEndian(count, bytes.data());
        QDataStream in(bytes);
        QVector<TypeParam> read;
        bulk(in, read, true);
        EXPECT_NE(in.status(), QDataStream::Ok) << count;
        EXPECT_LE(read.capacity(), 2) << count << ": room for what there is";
    }
}
