#include "entries/catalogue/cable.h"
#include "entries/entry_registration.h"
#include "entries/property_keys.h"
#include "record.h"
#include "tests/support/log_catcher.h"

#include <QBitArray>
#include <QCoreApplication>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QRectF>
#include <QTemporaryFile>
#include <QTimeZone>
#include <QUrl>
#include <QUuid>

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

using namespace CommonNOX;
using Entries::Cable::CableCoreV1;
namespace Keys = CommonNOX::Entries::Keys;

static const QString guid = QStringLiteral("{A}");

static QByteArray record(const char *name, const QByteArray &value, const QByteArray &icon = wire(QString()))
{
    return wire(QString::fromLatin1(name)) + value + wire(true) + icon + wire(QStringLiteral("label"));
}

static Record target()
{
    return Record(guid, {{"N", 1}, {"M", 2}});
}

static std::string values(const DataEntry &entry)
{
    QStringList texts;
    for (const QString &name : entry.getPropertyNames())
        texts += entry.get(name).toString();
    return texts.join(QLatin1Char(' ')).toStdString();
}

static QVariant readBack(
    const QVariant &value, void (*format)(QDataStream &) = [](QDataStream &) {})
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    format(out);
    out << Record(guid, {{"N", value}, {"M", 3}});
    Record entry = target();
    QDataStream in(bytes);
    format(in);
    in >> entry;
    EXPECT_EQ(in.status(), QDataStream::Ok) << value.typeName();
    EXPECT_TRUE(in.atEnd()) << value.typeName();
    EXPECT_EQ(entry.get(QStringLiteral("M")), 3) << value.typeName();
    return entry.get(QStringLiteral("N"));
}

using Format = void (*)(QDataStream &);

static const std::vector<Format> formats = {
    [](QDataStream &stream) { stream.setByteOrder(QDataStream::LittleEndian); },
    [](QDataStream &stream) { stream.setFloatingPointPrecision(QDataStream::SinglePrecision); },
    [](QDataStream &stream) { stream.setVersion(QDataStream::Qt_5_2); }};

/// A connection: says nothing of its size and gives a few bytes at a time.
class Trickle : public QIODevice
{
public:
    Trickle(const QByteArray &bytes, bool tells, qint64 portion) : m_bytes(bytes), m_tells(tells), m_portion(portion)
    {
        open(ReadOnly);
    }
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return (m_tells ? m_bytes.size() : 0) + QIODevice::bytesAvailable(); }

protected:
    qint64 readData(char *to, qint64 size) override
    {
        const int count = int(std::min<qint64>({size, m_portion, m_bytes.size()}));
        std::copy_n(m_bytes.constData(), count, to);
        m_bytes.remove(0, count);
        return count;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    QByteArray m_bytes;
    const bool m_tells;
    const qint64 m_portion;
};

struct HostPayload
{
    quint16 number = 0;
};
Q_DECLARE_METATYPE(HostPayload)
QDataStream &operator<<(QDataStream &stream, const HostPayload &payload)
{
    return stream << payload.number;
}
QDataStream &operator>>(QDataStream &stream, HostPayload &payload)
{
    return stream >> payload.number;
}

struct NotStreamable
{};
Q_DECLARE_METATYPE(NotStreamable)

namespace
{

TEST(EntryStream, KeepsTheBytesOfOldRecords)
{
    const QByteArray stored = QByteArray::fromHex("00000006 007b0041007d"         // "{A}"
                                                  "0000000000000002"              // two properties
                                                  "00000002 004e"                 // "N"
                                                  "00000002 00 fffffffe"          // int -2
                                                  "01 ffffffff"                   // searchable, no icon
                                                  "0000000a 006c006100620065006c" // "label"
                                                  "00000002 004d"                 // "M"
                                                  "0000000a 00 ffffffff"          // null text
                                                  "00 ffffffff 00000000"); // not searchable, no icon, empty label
    EXPECT_EQ(wire(Record(guid, {{"N", -2, true, "label"}, {"M", QString()}})).toHex().toStdString(),
              stored.toHex().toStdString());
    Record entry = target();
    QDataStream stream(stored);
    stream >> entry;
    EXPECT_EQ(entry.get(QStringLiteral("N")), QVariant(-2));
    EXPECT_EQ(entry.get(QStringLiteral("M")).userType(), int(QMetaType::QString));
    EXPECT_FALSE(entry.getProperty(QStringLiteral("N")).isSearchable()) << "that is the class's to say";
}

TEST(EntryStream, TakesTheValuesOfItsOwnRecordsOnly)
{
    const QByteArray n = record("N", wire(QVariant(5))), m = record("M", wire(QVariant(6)));
    const QByteArray other = record("Other", wire(QVariant(QVariantList{7, QStringLiteral("x")})));
    const QByteArray head = wire(guid);
    struct Row
    {
        const char *what;
        QByteArray bytes;
        const char *values;
        int left; // bytes behind the entry
    };
    for (const Row &row :
         {Row{"another order", head + wire(qint64(2)) + m + n, "5 6", 0},
          Row{"unknown name", head + wire(qint64(3)) + n + other + m, "5 6", 0},
          Row{"missing", head + wire(qint64(1)) + m, "1 6", 0}, Row{"none", head + wire(qint64(0)), "1 2", 0},
          Row{"twice", head + wire(qint64(2)) + n + record("N", wire(QVariant(8))), "8 2", 0},
          Row{"another type", head + wire(qint64(1)) + record("N", wire(QVariant(QStringLiteral("t")))), "t 2", 0},
          Row{"invalid value", head + wire(qint64(1)) + record("N", wire(QVariant())), " 2", 0},
          Row{"bytes behind", head + wire(qint64(1)) + n + "behind", "5 2", 6},
          Row{"another class", wire(QStringLiteral("{B}"), qint64(1)) + n, "1 2", n.size()},
          Row{"another class, mad count", wire(QStringLiteral("{a}"), qint64(-1)), "1 2", 0}}) {
        Record entry = target();
        QDataStream stream(row.bytes);
        stream >> entry;
        EXPECT_EQ(stream.status(), QDataStream::Ok) << row.what;
        EXPECT_EQ(values(entry), row.values) << row.what;
        EXPECT_EQ(stream.device()->bytesAvailable(), row.left) << row.what;
    }
}

TEST(EntryStream, ReadsFromEveryKindOfDevice)
{
    for (const int size : {3, 20000, 200000}) {
        const QByteArray text(size, 'x');
        const QByteArray bytes = wire(quint16(7), Record(guid, {{"N", text}}), Record(guid, {{"M", 4}}), quint16(9));
        QTemporaryFile file;
        ASSERT_TRUE(file.open());
        file.write(bytes);
        file.seek(0);
        Trickle telling(bytes, true, 1000), silent(bytes, false, 1000), slow(bytes.left(4096), false, 3);
        for (QIODevice *device : std::initializer_list<QIODevice *>{&file, &telling, &silent, &slow}) {
            if (device == &slow && size > 3)
                continue;
            QDataStream stream(device);
            quint16 before = 0, after = 0;
            Record first = target(), second = target();
            stream >> before >> first >> second >> after;
            EXPECT_EQ(first.get(QStringLiteral("N")), text) << size;
            EXPECT_EQ(values(second), "1 4");
            EXPECT_TRUE(before == 7 && after == 9) << size;
            EXPECT_EQ(stream.status(), QDataStream::Ok);
        }
    }
    QDataStream none;
    Record entry = target();
    none >> entry;
    EXPECT_NE(none.status(), QDataStream::Ok);
    EXPECT_EQ(values(entry), "1 2");
}

TEST(EntryStream, EveryKnownTypeSurvives)
{
    const QDateTime utc({2024, 2, 29}, {1, 2, 3, 4}, Qt::UTC);
    const QVariant inner = QVariantMap{{QStringLiteral("k"), QVariantList{1, QVariant(), QStringLiteral("v")}}};
    // clang-format off
    const std::vector<QVariant> all = {
        QVariant(), true, -1, 0xffffffffu, qlonglong(-1) << 40, qulonglong(-1), 0.5, 0.25f, QChar(0x3a9),
        QVariant::fromValue(5l), QVariant::fromValue(6ul), QVariant::fromValue(short(-7)),
        QVariant::fromValue(ushort(8)), QVariant::fromValue('c'), QVariant::fromValue(uchar(200)),
        QVariant::fromValue<signed char>(-3), QVariant::fromValue(nullptr), QString(), QStringLiteral("µ\n"),
        QStringList{QString(), QStringLiteral("a")}, QByteArray(), QByteArray("\0x", 2),
        QVariant::fromValue(QByteArrayList{"a", ""}), QBitArray(11, true), QDate(2000, 1, 1), QDate(), QTime(1,
        2), QTime(), QRect(1, 2, 3, 4), QRectF(0.5, 1, 2, 4), QSize(1, 2), QSizeF(0.5, 2), QLine(1, 2, 3, 4),
        QLineF(0.5, 1, 2, 4), QPoint(-1, 2), QPointF(0.5, -2), QUuid::createUuid(),
        QUrl(QStringLiteral("http://a/b?c=%20")), QLocale(QLocale::German), QJsonObject{{QStringLiteral("a"),
        1}}, QJsonArray{1, QStringLiteral("b")}, QJsonDocument(QJsonArray{2}), QVariantList(),
        QVariantList{inner, inner, QDateTime()}, inner, QVariantHash{{QStringLiteral("k"), inner}},
        QVariant(QMetaType::QVariant, &inner), QDateTime(), utc, utc.toLocalTime(), utc.toOffsetFromUtc(5400),
        utc.toTimeZone(QTimeZone(3600)), utc.toTimeZone(QTimeZone("Europe/Berlin")), QVariant(QVariant::Int),
        QVariant(QVariant::Double)};
    // clang-format on
    for (const QVariant &value : all) {
        for (const Format format : formats) {
            const QVariant read = readBack(value, format);
            EXPECT_EQ(wire(read), wire(value)) << value.typeName();
            EXPECT_EQ(read.isNull(), value.isNull()) << value.typeName();
        }
    }
}

TEST(EntryStream, NestedEntriesSurviveInEveryHolder)
{
    CableCoreV1 core;
    core.set(Keys::Name, QStringLiteral("L1"));
    const auto shared = std::make_shared<CableCoreV1>(core);
    const auto stranger =
        std::make_shared<const Record>(QStringLiteral("{nobody's}"), std::initializer_list<Record::Row>{{"N", 7}});
    for (const QVariant &value :
         {QVariant::fromValue(core), QVariant::fromValue(shared),
          QVariant::fromValue(std::shared_ptr<const CableCoreV1>(shared)), QVariant::fromValue(DataEntryPtr(shared)),
          QVariant::fromValue(DataEntryConstPtr(shared)), QVariant::fromValue(DataEntryConstPtr(stranger))}) {
        for (const Format format : formats) {
            const QVariant read = readBack(QVariantList{value}, format).toList().value(0);
            ASSERT_EQ(read.userType(), value.userType());
            const DataEntryConstPtr entry = DataEntryFromVariant(read);
            ASSERT_TRUE(entry) << value.typeName();
            EXPECT_EQ(wire(*entry), wire(*DataEntryFromVariant(value))) << value.typeName();
            EXPECT_EQ(bool(std::dynamic_pointer_cast<const CableCoreV1>(entry)),
                      entry->getGuid() == CableCoreV1::Guid());
        }
    }
    for (const QVariant &null :
         {QVariant::fromValue(DataEntryPtr()), QVariant::fromValue(std::shared_ptr<const CableCoreV1>())}) {
        const QVariant read = readBack(null);
        EXPECT_EQ(read.userType(), null.userType());
        EXPECT_FALSE(DataEntryFromVariant(read)) << null.typeName();
    }
}

TEST(EntryStream, AValueThatCannotBeStreamedCostsOneLineAndNothingElse)
{
    QVariant deep;
    for (int i = 0; i < 100; ++i)
        deep = QVariantList{deep};
    const QVariant hidden = QVariant::fromValue(NotStreamable());
    for (const QVariant &value : {hidden, QVariant(QVariantList{1, hidden}), QVariant(QVariantMap{{QString(), hidden}}),
                                  QVariant(QMetaType::QVariant, &hidden), deep, QVariant::fromValue(QObjectList())}) {
        const LogCatcher log;
        EXPECT_FALSE(readBack(value).isValid()) << value.typeName();
        const QStringList lines = LogCatcher::take();
        EXPECT_EQ(lines.size(), 1) << lines.join(QLatin1Char('\n')).toStdString();
    }
}

TEST(EntryStream, AHostMakesItsOwnPayloadKnown)
{
    qRegisterMetaTypeStreamOperators<HostPayload>("HostPayload");
    const QVariant value = QVariant::fromValue(HostPayload{513});
    EXPECT_FALSE(IsStreamable(value));
    const auto skipper = [](WireCursor &cursor) { return cursor.skip(2); };
    EXPECT_TRUE(RegisterPayloadSkipper("HostPayload", skipper));
    EXPECT_FALSE(RegisterPayloadSkipper("HostPayload", skipper));
    EXPECT_EQ(readBack(value).value<HostPayload>().number, 513);
}

TEST(EntryStream, ThreadsWriteAndReadAtOnceWithoutAnApplication)
{
    ASSERT_EQ(QCoreApplication::instance(), nullptr);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (const EntryClassInformation &known : RegisteredEntryClasses()) {
                QDataStream stream(wire(*known.create()));
                const DataEntryPtr read = EntryStream::ReadAny(stream);
                ASSERT_TRUE(read);
                EXPECT_EQ(read->getGuid(), known.guid);
            }
        });
    }
    for (auto &thread : threads)
        thread.join();
}

} // namespace
