#include "entries/catalogue/cable.h"
#include "entries/property_keys.h"
#include "entries/wildcard.h"
#include "record.h"
#include "tests/support/log_catcher.h"

#include <gtest/gtest.h>

#include <memory>

using namespace CommonNOX;
using Entries::Cable::CableV1;
namespace Keys = CommonNOX::Entries::Keys;

static const QString guid = QStringLiteral("{A}");
static const QString n = QStringLiteral("N");

static DataEntryConstPtr held(const Record &record)
{
    return std::make_shared<const Record>(record);
}

static QString joined(const QList<QStringList> &paths)
{
    QStringList texts;
    for (const QStringList &path : paths)
        texts += path.join(QLatin1Char('/'));
    return texts.join(QLatin1Char(' '));
}

namespace
{

TEST(DataEntry, CopiesAreIndependentEvenThroughConstantProperties)
{
    const CableV1 first;
    const CableV1 second = first;
    DataEntry third = second;
    const DataEntry fourth = third;
    third = first;
    const auto set = [](const DataEntry &entry, const char *text) {
        entry.getProperties().find(Keys::Name)->setValue(QLatin1String(text));
    };
    set(second, "second");
    set(third, "third");
    set(first, "first");
    EXPECT_EQ(fourth.get(Keys::Name), QString());
    EXPECT_EQ(third.get(Keys::Name), QStringLiteral("third"));
    EXPECT_EQ(second.get(Keys::Name), QStringLiteral("second"));
    EXPECT_EQ(CableV1().get(Keys::Name), QString()) << "what all cables are copied from";
    const QVariant value = QVariant::fromValue(second);
    set(value.value<CableV1>(), "taken out");
    EXPECT_EQ(value.value<CableV1>().get(Keys::Name), QStringLiteral("second"));
}

TEST(DataEntry, PathsLeadThroughEntriesHeldInAnyWay)
{
    CableV1 cable;
    cable.set(Keys::Name, QStringLiteral("inner"));
    const QVariantList ways = {QVariant::fromValue(cable), QVariant::fromValue(std::make_shared<CableV1>(cable)),
                               QVariant::fromValue(std::make_shared<const CableV1>(cable)),
                               QVariant::fromValue(DataEntryPtr(std::make_shared<CableV1>(cable))),
                               QVariant::fromValue(DataEntryConstPtr(std::make_shared<CableV1>(cable)))};
    for (const QVariant &way : ways) {
        const Record outer(QStringLiteral("{B}"), {{"C", QVariant::fromValue(held(Record(guid, {{"N", way}})))}});
        DataEntryProperty property;
        DataEntry owner;
        EXPECT_TRUE(outer.findNestedPropertyEntry({QStringLiteral("C"), n, Keys::Name}, owner, property));
        EXPECT_EQ(property.getValue(), QStringLiteral("inner")) << way.typeName();
        EXPECT_EQ(owner.getGuid(), CableV1::Guid());
        EXPECT_FALSE(outer.findNestedProperty({QStringLiteral("C"), n, n}, property)) << way.typeName();
    }
    const Record entry(guid, {{"N", 1}, {"Null", QVariant::fromValue(DataEntryConstPtr())}});
    DataEntryProperty property;
    for (const QStringList &path : {QStringList{}, {n, n}, {QStringLiteral("X")}, {QStringLiteral("Null"), n}})
        EXPECT_FALSE(entry.findNestedProperty(path, property)) << path.join(QLatin1Char('/')).toStdString();
}

/// Two ways from an entry to itself.
struct Ring
{
    Ring()
        : entry(
              std::make_shared<Record>(guid, std::initializer_list<Record::Row>{{"S", 1, true}, {"A", {}}, {"B", {}}}))
    {
        for (const char *name : {"A", "B"})
            entry->set(QLatin1String(name), QVariant::fromValue(DataEntryConstPtr(entry)));
    }
    ~Ring()
    {
        for (const char *name : {"A", "B"})
            entry->set(QLatin1String(name), QVariant());
    }
    const std::shared_ptr<Record> entry;
};

TEST(DataEntry, SearchAndStreamFollowEntriesAndEndInARing)
{
    const Ring ring;
    EXPECT_EQ(joined(FindSearchablePropertiesForDataEntry(DataEntryConstPtr(ring.entry))), QStringLiteral("S"));
    const auto inner = QVariant::fromValue(DataEntryConstPtr(ring.entry));
    const Record outer(guid, {{"Z", inner, true}, {"N", inner}, {"L", QVariantList{inner}}});
    EXPECT_EQ(joined(FindSearchablePropertiesForDataEntry(outer)), QStringLiteral("Z Z/S N/S"));
    EXPECT_TRUE(FindSearchablePropertiesForDataEntry(DataEntry()).isEmpty());
    EXPECT_TRUE(FindSearchablePropertiesForDataEntry(DataEntryConstPtr()).isEmpty());
    const LogCatcher log;
    const QByteArray bytes = wire(*ring.entry);
    const QStringList lines = LogCatcher::take();
    EXPECT_EQ(lines.size(), 2) << lines.join(QLatin1Char('\n')).toStdString();
    Record read(guid, {{"S", 0}, {"A", 0}});
    QDataStream stream(bytes);
    stream >> read;
    EXPECT_EQ(stream.status(), QDataStream::Ok);
    EXPECT_EQ(read.get(QStringLiteral("S")), 1);
    EXPECT_FALSE(DataEntryFromVariant(read.get(QStringLiteral("A"))));
}

TEST(DataEntry, QueriesFindTextAnywhere)
{
    struct Row
    {
        QVariant value, query;
        bool found;
    };
    const auto text = [](const char *latin) { return QVariant(QString::fromUtf8(latin)); };
    for (const Row &row : {Row{text("xabcx"), text("abc"), true}, Row{text("xABCx"), text("abc"), false},
                           Row{QVariant(), QVariant(), true}, Row{text("a/b\nc"), text("a*c"), true},
                           Row{text("a+c"), text("a+c"), true}, Row{text("50 %1"), text("%1"), true}, Row{42, 4, true},
                           Row{QVariantList{1}, text("1"), false}}) {
        EXPECT_EQ(DataEntry::QueryProperty(held(Record(guid, {{"N", row.value}})), n, row.query), row.found)
            << row.value.toString().toStdString() << " / " << row.query.toString().toStdString();
    }
    EXPECT_FALSE(DataEntry::QueryProperty(nullptr, n, QVariant()));
    EXPECT_EQ(DataEntry::FormatProperty(nullptr, n), QString());
}

TEST(Wildcard, MatchesTheWholeText)
{
    struct Row
    {
        const char *pattern, *matching, *other = nullptr;
    };
    for (const Row &row :
         {Row{"", "", "a"}, Row{"*", "a/\r\nb"}, Row{"**?", "a", ""}, Row{"a*", "a", "ba"}, Row{"*a", "aba", "ab"},
          Row{"?", "\xf0\x9f\x94\x8c", "ab"}, Row{"[!a-c]x", "dx", "bx"}, Row{"[^a]", "b", "a"}, Row{"[]a]", "]", "b"},
          Row{"[!]a]", "b", "]"}, Row{"[a-]", "-", "b"}, Row{"[c-a]", nullptr, "b"}, Row{"[ab", "[ab", "a"},
          Row{"[]", "[]", ""}, Row{"[!]", "[!]", "a"}, Row{"[[]", "[", "]"}, Row{"[a][", "a[", "[a]["},
          Row{"\\*", "\\x", "x"}, Row{"a*b*c", "a1b2bc", "acb"}}) {
        const QString pattern = QString::fromUtf8(row.pattern);
        EXPECT_TRUE(!row.matching || MatchesWildcard(pattern, QString::fromUtf8(row.matching))) << row.pattern;
        EXPECT_FALSE(row.other && MatchesWildcard(pattern, QString::fromUtf8(row.other))) << row.pattern;
    }
}

TEST(Wildcard, TakesItsTimeFromTheLengthAlone)
{
    const QString text(200000, QLatin1Char('a'));
    EXPECT_FALSE(MatchesWildcard(QStringLiteral("*a").repeated(1000) + QLatin1Char('b'), text));
    EXPECT_TRUE(MatchesWildcard(QStringLiteral("*a").repeated(1000), text));
    EXPECT_FALSE(MatchesWildcard(QString(100000, QLatin1Char('[')), text));
    EXPECT_TRUE(MatchesWildcard(QString(100000, QLatin1Char('*')) + QStringLiteral("[a]"), text));
}

} // namespace
