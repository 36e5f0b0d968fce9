// Streams that are damaged or were made to do harm: refused as a whole, with everything left as it was.

#include "entries/catalogue/cable.h"
#include "entries/catalogue/results_pd.h"
#include "entries/measurement/peak.h"
#include "entries/property_keys.h"
#include "record.h"

#include <QDateTime>

#include <gtest/gtest.h>

#include <memory>

using namespace CommonNOX;
using Entries::Cable::CableV1;
using namespace Entries::Results::Space2D;
namespace Keys = CommonNOX::Entries::Keys;

static const QByteArray prefix = "before";

/// An entry of class {A}: a value under N, then 7 under M.
static QByteArray withValue(const QByteArray &value, const QByteArray &icon = wire(QString()), qint64 count = 2)
{
    return wire(QStringLiteral("{A}"), count, QStringLiteral("N")) + value + wire(false) + icon +
           wire(QString(), QStringLiteral("M"), QVariant(7), false, QString(), QString());
}

static QByteArray typed(quint32 type, const QByteArray &payload)
{
    return wire(type, quint8(0)) + payload;
}

static QByteArray named(const char *type, const QByteArray &payload)
{
    return typed(QMetaType::User, wire(type)) + payload;
}

static QByteArray nested(int levels, const QByteArray &head, const QByteArray &core)
{
    return head.repeated(levels - 1) + core;
}

struct Reading
{
    QDataStream::Status status = QDataStream::Ok;
    qint64 position = 0;
    QByteArray entry;
};

static Reading readFrom(const QByteArray &bytes, DataEntry &&entry)
{
    QDataStream stream(prefix + bytes);
    stream.skipRawData(prefix.size());
    stream >> entry;
    return {stream.status(), stream.device()->pos() - prefix.size(), wire(entry)};
}

static Record target()
{
    return Record(QStringLiteral("{A}"), {{"N", 1}, {"M", 2}});
}

static void expectRefused(const QByteArray &bytes, const char *what)
{
    const Reading read = readFrom(bytes, target());
    EXPECT_NE(read.status, QDataStream::Ok) << what;
    EXPECT_EQ(read.position, 0) << what;
    EXPECT_EQ(read.entry, wire(target())) << what;
    QDataStream stream(bytes);
    EXPECT_FALSE(EntryStream::ReadAny(stream)) << what;
    EXPECT_NE(stream.status(), QDataStream::Ok) << what;
    EXPECT_EQ(stream.device()->pos(), 0) << what;
}

/// An entry with everything that stands in records of measurements.
static QByteArray richEntry()
{
    CableV1 cable;
    cable.set(Keys::Name, QStringLiteral("Ω"));
    cable.set(Keys::DateOfManufacture, QDateTime({2024, 3, 1}, {0, 0}, Qt::OffsetFromUTC, 3600));
    PeriodV2 period;
    period.set(Keys::Peaks, QVariant::fromValue(PeakVector{{1, -2, 3, 0x10}, {}}));
    cable.set(Keys::Cores, QVariantList{QVariant::fromValue(std::make_shared<PeriodV2>(period)), 5, QByteArray("x")});
    return wire(cable);
}

namespace
{

TEST(HostileEntryStream, IsRefusedWhereverItIsTruncated)
{
    const QByteArray whole = richEntry();
    ASSERT_EQ(readFrom(whole, CableV1()).entry, whole);
    for (int size = 0; size < whole.size(); ++size) {
        const Reading read = readFrom(whole.left(size), CableV1());
        ASSERT_EQ(read.status, QDataStream::ReadPastEnd) << size;
        ASSERT_EQ(read.position, 0) << size;
        ASSERT_EQ(read.entry, wire(CableV1())) << size;
    }
}

TEST(HostileEntryStream, NoFlippedBitDoesHarm)
{
    const QByteArray whole = richEntry();
    const QByteArray defaults = wire(CableV1());
    for (int bit = 0; bit < whole.size() * 8; ++bit) {
        QByteArray bytes = whole;
        bytes[bit / 8] = char(bytes[bit / 8] ^ (1 << bit % 8));
        const Reading read = readFrom(bytes, CableV1());
        if (read.status != QDataStream::Ok) {
            ASSERT_EQ(read.position, 0) << bit;
            ASSERT_EQ(read.entry, defaults) << bit;
        }
    }
}

TEST(HostileEntryStream, IsRefusedAsAWhole)
{
    const QByteArray png = QByteArray::fromHex("89504e470d0a1a0a");
    struct Row
    {
        const char *what;
        QByteArray value;
    };
    for (const Row &row :
         {Row{"list of 4 bytes", typed(QMetaType::QVariantList, wire(0xffffffffu))},
          Row{"list larger than the rest", typed(QMetaType::QVariantList, wire(100u, QVariant(1)))},
          Row{"map larger than the rest", typed(QMetaType::QVariantMap, wire(0x10000000u))},
          Row{"texts larger than the rest", typed(QMetaType::QStringList, wire(0x7fffffffu))},
          Row{"odd text", typed(QMetaType::QString, wire(3u) + "abc")},
          Row{"mad text", typed(QMetaType::QString, wire(0xfffffffeu))},
          Row{"mad bits", typed(QMetaType::QBitArray, wire(0xffffffffu))},
          Row{"bytes", typed(QMetaType::QByteArray, wire(0x7fffffffu))},
          Row{"unknown type 99999999", typed(99999999, {})},
          Row{"type below zero", typed(quint32(-1), {})},
          Row{"image", typed(QMetaType::QImage, wire(1) + png)},
          Row{"icon", typed(QMetaType::QIcon, wire(QString()))},
          Row{"object", typed(QMetaType::QObjectStar, wire(quint64(0)))},
          Row{"user type unknown", named("Nobody", wire(1))},
          Row{"user type without name", typed(QMetaType::User, wire(quint32(-1)))},
          Row{"user type that Qt knows", named("QList<QObject*>", wire(0))},
          Row{"peaks larger than the rest", named(QMetaType::typeName(qMetaTypeId<PeakVector>()), wire(0x0fffffffu))},
          Row{"samples below zero", named("QVector<int>", wire(0xffffffffu))},
          Row{"entry of another class", named("CommonNOX::Entries::Cable::CableV1Ptr", wire(PeriodV2()))},
          Row{"entry with a mad count",
              named("CommonNOX::DataEntryConstPtr", wire(QStringLiteral("{B}"), std::numeric_limits<qint64>::max()))},
          Row{"time of no kind", typed(QMetaType::QDateTime, wire(qint64(1), 1u, quint8(4)))},
          Row{"zone outside its folder",
              typed(QMetaType::QDateTime, wire(qint64(2460000), 1u, quint8(3), QStringLiteral("../../../dev/stdin")))},
          Row{"zone of an offset outside its folder",
              typed(QMetaType::QDateTime,
                    wire(qint64(2460000), 1u, quint8(3), QStringLiteral("OffsetFromUtc"),
                         QStringLiteral("a/../../../dev/stdin"), 60, QString(), QString(), 0, QString()))}})
        expectRefused(withValue(row.value), row.what);
    const QByteArray good = wire(QVariant(1));
    expectRefused(withValue(good, {}, -1), "negative count");
    expectRefused(withValue(good, {}, 3), "count of one too many");
    expectRefused(withValue(good, {}, qint64(1) << 60), "count larger than the rest");
    expectRefused(withValue(good, wire(QStringLiteral("OtherEngine"))), "icon of another engine");
    expectRefused(withValue(good, wire(QStringLiteral("QPixmapIconEngine"), 0x7fffffff)), "icon with a mad count");
    expectRefused(withValue(good, wire(QStringLiteral("QPixmapIconEngine"), 1, 1) + png + QByteArray(40, '\xff')),
                  "mad picture");
    expectRefused(withValue(good, wire(QStringLiteral("svg"), 1, 1)), "mad drawing");
    QDataStream old(withValue(good));
    old.setVersion(QDataStream::Qt_5_1);
    Record entry = target();
    old >> entry;
    EXPECT_EQ(old.status(), QDataStream::ReadCorruptData) << "bytes of an older Qt are laid out otherwise";
}

TEST(HostileEntryStream, NestsNoDeeperThan64Levels)
{
    struct Row
    {
        const char *what;
        QByteArray head, core;
        int levelsEach;
    };
    for (const Row &row :
         {Row{"lists", typed(QMetaType::QVariantList, wire(1)), typed(QMetaType::QVariantList, wire(0)), 1},
          Row{"maps", typed(QMetaType::QVariantMap, wire(1, QString())), typed(QMetaType::QVariantMap, wire(0)), 1},
          Row{"values", typed(QMetaType::QVariant, {}), wire(QVariant()), 1},
          Row{"entries", named("CommonNOX::DataEntryConstPtr", wire(QStringLiteral("{B}"), qint64(1), QString())),
              named("CommonNOX::DataEntryConstPtr", wire(QStringLiteral("{B}"), qint64(0))), 2}}) {
        const QByteArray tail = row.levelsEach == 2 ? wire(false, QString(), QString()) : QByteArray();
        const int most = 64 / row.levelsEach;
        const auto bytes = [&](int levels) {
            return withValue(nested(levels, row.head, row.core) + tail.repeated(levels - 1));
        };
        const Reading read = readFrom(bytes(most), target());
        EXPECT_EQ(read.status, QDataStream::Ok) << row.what;
        EXPECT_EQ(read.position, bytes(most).size()) << row.what;
        for (const int levels : {most + 1, 30000})
            expectRefused(bytes(levels), row.what);
    }
}

TEST(HostileEntryStream, IconsWithPixelsAreSkippedOver)
{
    // Two pictures, as QtGui writes a pixmap icon.
    const QByteArray pixmaps =
        QByteArray::fromBase64("AAAAIgBRAFAAaQB4AG0AYQBwAEkAYwBvAG4ARQBuAGcAaQBuAGUAAAACAAAAAYlQTkcNChoKAAAADUlIRFIAAAA"
                               "CAAAAAQgCAAAAe0Do3QAAAAlw"
                               "SFlzAAAPYQAAD2EBqD+naQAAAA9JREFUCJlj/M/AwMDAAAAGCAEBSbjCtAAAAABJRU5ErkJggv////"
                               "8AAAACAAAAAQAAAAAAAAABAAAAAYlQTkcN"
                               "ChoKAAAADUlIRFIAAAABAAAAAQgGAAAAHxXEiQAAAAlwSFlzAAAPYQAAD2EBqD+"
                               "naQAAAAtJREFUCJljYAACAAAFAAFiVTKIAAAAAElFTkSuQmCC"
                               "/////wAAAAEAAAABAAAAAQAAAAA=");
    const QByteArray picture = pixmaps.mid(42, pixmaps.indexOf("IEND") + 8 - 42);
    const QByteArray drawing = wire(QStringLiteral("svg"), QHash<int, QString>{{1, QStringLiteral("a.svg")}}, 1,
                                    QHash<int, QByteArray>{{1, qCompress("<svg/>")}});
    for (const QByteArray &icon :
         {wire(QString()), wire(QStringLiteral("")),
          wire(QStringLiteral("QIconLoaderEngine"), QStringLiteral("edit-copy")), pixmaps,
          wire(QStringLiteral("QPixmapIconEngine"), 1, 0, QStringLiteral("a.png"), qint64(0), 0, 0), drawing + wire(0),
          drawing + wire(1, 1, 3) + picture}) {
        const QByteArray bytes = withValue(wire(QVariant(5)), icon);
        const Reading read = readFrom(bytes + "behind", target());
        EXPECT_EQ(read.position, bytes.size()) << icon.left(40).toHex().toStdString();
        EXPECT_EQ(read.entry, wire(Record(QStringLiteral("{A}"), {{"N", 5}, {"M", 7}})));
        for (int size = 0; size < icon.size(); ++size)
            ASSERT_EQ(readFrom(withValue(wire(QVariant(5)), icon).left(27 + size), target()).status,
                      QDataStream::ReadPastEnd);
    }
}

} // namespace
