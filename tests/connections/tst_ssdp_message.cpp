#include "connections/discovery/ssdp_message.h"
#include "connections/discovery/ssdp_target.h"

#include <gmock/gmock.h>

namespace
{

using namespace CommonNOX::Connections;
using Kind = SsdpMessage::Kind;
using Target = SsdpTarget;

QString latin(const char *text)
{
    return QString::fromLatin1(text);
}

TEST(SsdpMessage, IsRecognisedByItsExactFirstLine)
{
    struct Row
    {
        QByteArray datagram;
        Kind kind;
    };
    const QByteArray oversized = "NOTIFY * HTTP/1.1\r\nUSN: " + QByteArray(8 * 1024, 'x') + "\r\n\r\n";
    for (const Row &row :
         {Row{"NOTIFY * HTTP/1.1\r\n\r\n", Kind::Notify}, Row{"M-SEARCH * HTTP/1.1\r\n", Kind::Search},
          Row{"HTTP/1.1 200 OK\n\n", Kind::SearchResponse}, Row{"HTTP/1.1 200 OK", Kind::SearchResponse},
          Row{"", Kind::None}, Row{"\r\n\r\n", Kind::None}, Row{"NOTIFY * HTTP/1.0\r\n\r\n", Kind::None},
          Row{"notify * HTTP/1.1\r\n\r\n", Kind::None}, Row{"NOTIFY * HTTP/1.1 \r\n", Kind::None},
          Row{" NOTIFY * HTTP/1.1\r\n", Kind::None}, Row{"HTTP/1.1 404 Not Found\r\n", Kind::None},
          Row{QByteArray("NOTIFY * HTTP/1.1\0", 18), Kind::None}, Row{"NOTIFY * HTTP/1.1\r\r\n", Kind::None},
          Row{QByteArray(9000, '\0'), Kind::None}, Row{oversized, Kind::None}}) {
        const SsdpParseResult result = ParseSsdpDatagram(row.datagram);
        EXPECT_EQ(result.message.getKind(), row.kind) << row.datagram.left(40).constData();
        EXPECT_EQ(result.error.isEmpty(), row.kind != Kind::None) << row.datagram.left(40).constData();
    }
}

TEST(SsdpMessage, HeadersAreReadLeniently)
{
    struct Row
    {
        QByteArray lines;
        const char *name, *value; // a null value where there is no such header
    };
    for (const Row &row :
         {Row{"usn:uuid:a\r\n", "USN", "uuid:a"}, Row{"UsN \t:  uuid:a \t\r\n", "usn", "uuid:a"},
          Row{"USN: first\r\nusn: second\r\n", "USN", "first"}, Row{"EXT:\r\n", "EXT", ""},
          Row{"EXT\r\n", "EXT", nullptr}, Row{": nameless\r\nUSN: a\r\n", "USN", "a"},
          Row{"U S N: a\r\n", "U S N", nullptr}, Row{QByteArray("US\0N: a\r\n", 9), "USN", "a"},
          Row{"X: one\r\n  two\r\n\tthree\r\n", "X", "one two three"}, Row{" folded first\r\nX: a\n", "X", "a"},
          Row{"X: a\n\r\nUSN: body\r\n", "USN", nullptr}, Row{"X: a\rUSN: b\r\n", "X", "aUSN: b"},
          Row{QByteArray("X: a\0\x1b[2J\x7f\tb\r\n", 13), "X", "a[2Jb"},
          Row{"X: a\xc2\x9b"
              "b\xe2\x80\xae\xe2\x80\xa8\r\n",
              "X", "ab"},
          Row{"X: " + QByteArray(4000, ' ') + "a", "X", "a"},
          Row{QByteArray("A:\n").repeated(64) + "X: a\n", "X", nullptr}}) {
        const SsdpMessage message = ParseSsdpDatagram("NOTIFY * HTTP/1.1\r\n" + row.lines).message;
        const QString value = message.getHeader(latin(row.name));
        EXPECT_EQ(value.isNull(), row.value == nullptr) << row.lines.constData();
        EXPECT_EQ(value, latin(row.value)) << row.lines.constData();
    }
}

TEST(SsdpMessage, MaximumAgeStandsAmongOtherDirectives)
{
    struct Row
    {
        const char *value;
        qint64 age; // -1 for none
    };
    for (const Row &row :
         {Row{"max-age = 1800", 1800}, Row{"max-age=0", 0}, Row{"no-cache=\"Ext\", MAX-AGE=\"60\" , x", 60},
          Row{"max-age=-5", 0}, Row{"max-age=99999999999999999999", 2147483647}, Row{"max-age=007", 7},
          Row{"max-age", -1}, Row{"max-age=", -1}, Row{"max-age=soon", -1}, Row{"x-max-age=5", -1},
          Row{"s-maxage=5", -1}, Row{"", -1}, Row{"max-age=--5", -1}, Row{"max-age=1e3", -1}}) {
        SsdpMessage message(Kind::Notify);
        message.setHeader(latin("CACHE-CONTROL"), latin(row.value));
        EXPECT_EQ(message.getMaximumAge().value_or(-1), row.age) << row.value;
    }
    EXPECT_FALSE(SsdpMessage(Kind::Notify).getMaximumAge());
}

TEST(SsdpMessage, NotificationsThatAreNeitherAliveNorByeByeAreUpdates)
{
    for (const auto &[word, expected] : {std::pair("ssdp:alive", SsdpMessage::Notification::Alive),
                                         std::pair("ssdp:byebye", SsdpMessage::Notification::ByeBye),
                                         std::pair("ssdp:update", SsdpMessage::Notification::Update),
                                         std::pair("", SsdpMessage::Notification::Update)}) {
        SsdpMessage message(Kind::Notify);
        message.setHeader(latin("NTS"), latin(word));
        EXPECT_EQ(message.getNotification(), expected) << word;
    }
}

TEST(SsdpMessage, IsWrittenStrictlyAndCannotBeBrokenOutOf)
{
    SsdpMessage search(Kind::Search);
    EXPECT_TRUE(search.setHeader(latin("Man"), latin("\"ssdp:discover\"")));
    EXPECT_TRUE(search.setHeader(latin("ST"), latin("ssdp:all\r\nX: y\r\n\r\nbody")));
    EXPECT_TRUE(search.setHeader(latin("EXT"), QString()));
    EXPECT_TRUE(search.setHeader(latin("mx"), latin("3")) && search.setHeader(latin("MX"), latin("2")));
    EXPECT_FALSE(search.setHeader(latin("A: b\r\nC"), latin("d")) || search.setHeader(QString(), latin("d")));
    EXPECT_STREQ(search.toDatagram().constData(), "M-SEARCH * HTTP/1.1\r\nMAN: \"ssdp:discover\"\r\n"
                                                  "ST: ssdp:allX: ybody\r\nEXT:\r\nMX: 2\r\n\r\n");
    EXPECT_EQ(ParseSsdpDatagram(search.toDatagram()).message, search);
    EXPECT_TRUE(SsdpMessage().toDatagram().isEmpty());
    EXPECT_EQ(MakeSsdpProduct(latin("A B"), latin("1/2"), latin("n\r\nx"), QString()),
              latin("A-B/1-2 UPnP/1.1 n--x/0"));
}

TEST(SsdpTarget, FormsAreReadAndWritten)
{
    struct Row
    {
        const char *text;
        Target target;
        const char *name; // of device "u"
    };
    for (const Row &row :
         {Row{"ssdp:all", Target::All(), nullptr},
          Row{"upnp:rootdevice", Target::RootDevice(), "uuid:u::upnp:rootdevice"},
          Row{"uuid:u", Target::Device(latin("u")), "uuid:u"},
          Row{"urn:d:device:t:1", Target::DeviceType(latin("d"), latin("t"), 1), "uuid:u::urn:d:device:t:1"},
          Row{"urn:d-x:service:t.y:20", Target::ServiceType(latin("d-x"), latin("t.y"), 20),
              "uuid:u::urn:d-x:service:t.y:20"}}) {
        EXPECT_EQ(Target::Parse(latin(row.text)), row.target) << row.text;
        EXPECT_EQ(row.target.toString(), latin(row.text));
        if (row.name) {
            const SsdpUniqueName name{latin("u"), row.target};
            EXPECT_EQ(name.toString(), latin(row.name));
            EXPECT_EQ(SsdpUniqueName::Parse(latin(row.name)), name) << row.name;
        }
    }
    for (const char *text :
         {"", "ssdp:All", "uuid:", "uuid:a::b", "urn:d:device:t", "urn:d:device:t:", "urn::device:t:1",
          "urn:d:device::1", "urn:d:thing:t:1", "urn:d:device:t:1:2", "urn:d:device:t:-1", "URN:d:device:t:1"})
        EXPECT_EQ(Target::Parse(latin(text)).getKind(), Target::Kind::Invalid) << text;
    for (const char *text : {"", "uuid:", "uuid:::upnp:rootdevice", "upnp:rootdevice", "x uuid:u"})
        EXPECT_TRUE(SsdpUniqueName::Parse(latin(text)).uuid.isEmpty()) << text;
    for (const char *text : {"uuid:u::", "uuid:u::ssdp:all", "uuid:u::uuid:u", "uuid:u::urn:d:nhed:t:1"}) {
        const SsdpUniqueName name = SsdpUniqueName::Parse(latin(text));
        EXPECT_TRUE(name.uuid == latin("u") && name.target.getKind() == Target::Kind::Invalid) << text;
    }
}

} // namespace
