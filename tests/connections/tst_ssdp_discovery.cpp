#include "connections/discovery/ssdp_device_cache.h"
#include "connections/discovery/ssdp_device_discovery.h"
#include "connections/discovery/ssdp_interface.h"
#include "connections/discovery/ssdp_location.h"

#include <gmock/gmock.h>

namespace
{

using namespace CommonNOX::Connections;
using Change = SsdpDeviceCache::Change;
using testing::ElementsAre;

const QDateTime Noon(QDate(2030, 1, 1), QTime(12, 0), Qt::UTC);

QString latin(const char *text)
{
    return QString::fromLatin1(text);
}

SsdpDevice deviceOf(const QString &usn, int age = 1800, int headerSize = 8)
{
    return {usn,
            QUrl(latin("tcp://10.0.0.1:1")),
            {{latin("USN"), usn}, {latin("SERVER"), QString(headerSize, QLatin1Char('s'))}},
            Noon.addSecs(age)};
}

TEST(SsdpDeviceCache, MadeUpNamesDisplaceThemselvesOnly)
{
    SsdpDeviceCache cache;
    cache.put(deviceOf(latin("answered")), true);
    cache.put(deviceOf(latin("heard once")), false);
    cache.put(deviceOf(latin("repeated")), false);
    cache.put(deviceOf(latin("repeated")), false);
    qint64 balance = 3;
    QStringList displaced;
    for (int number = 0; number < 100000; ++number) {
        const auto result = cache.put(deviceOf(QString::number(number)), false);
        balance += result.change == Change::Found;
        balance -= result.displaced.size();
        if (!result.displaced.isEmpty() && displaced.size() < 2)
            displaced.append(result.displaced.first().usn);
        ASSERT_LE(cache.getCount(), SsdpDeviceCache::MaximumCount);
    }
    EXPECT_THAT(displaced, ElementsAre(latin("heard once"), latin("0"))) << "the oldest first";
    EXPECT_EQ(balance, cache.getCount());
    EXPECT_TRUE(cache.find(latin("answered")) && cache.find(latin("repeated")) && cache.find(latin("99999")));
    EXPECT_LE(cache.getSize(), SsdpDeviceCache::MaximumSize);

    // Once all are confirmed, who was only heard finds no room, and who answers takes that of the oldest.
    for (int number = 0; number < SsdpDeviceCache::MaximumCount; ++number)
        cache.put(deviceOf(latin("confirmed %1").arg(number)), true);
    EXPECT_EQ(cache.put(deviceOf(latin("newcomer")), false).change, Change::None);
    EXPECT_EQ(cache.find(latin("newcomer")), nullptr);
    const auto result = cache.put(deviceOf(latin("answers")), true);
    ASSERT_EQ(result.displaced.size(), 1);
    EXPECT_EQ(result.displaced.first().usn, latin("confirmed 0"));
    EXPECT_EQ(cache.takeAll().size(), SsdpDeviceCache::MaximumCount);
    EXPECT_EQ(cache.getSize(), 0);
}

TEST(SsdpDeviceCache, LargeEntriesAreBoundedByTheirSize)
{
    SsdpDeviceCache cache;
    for (int number = 0; number < 2000; ++number) {
        cache.put(deviceOf(QString::number(number), 1800, 8000), false);
        ASSERT_LE(cache.getSize(), SsdpDeviceCache::MaximumSize);
    }
    EXPECT_GT(cache.getCount(), 200);
    // A refresh that shrinks an entry gives its room back.
    const qint64 before = cache.getSize();
    cache.put(deviceOf(latin("1999")), false);
    EXPECT_EQ(before - cache.getSize(), (8000 - 8) * 2);
}

SsdpMessage messageOf(const char *kind, const char *usn, const char *headers = "")
{
    return ParseSsdpDatagram(QByteArray(kind) + "\r\nLOCATION: tcp://10.0.0.1:1\r\nUSN: " + usn + "\r\n" + headers)
        .message;
}

class SsdpDiscoveryTest : public testing::Test
{
protected:
    SsdpDiscoveryTest()
    {
        SsdpDiscoverySettings settings;
        settings.clock = [this] { return now; };
        discovery = std::make_unique<SsdpDeviceDiscovery>(settings);
        QObject::connect(discovery.get(), &SsdpDeviceDiscovery::deviceFound,
                         [this](const auto &one) { note("+", one); });
        QObject::connect(discovery.get(), &SsdpDeviceDiscovery::deviceChanged,
                         [this](const auto &one) { note("*", one); });
        QObject::connect(discovery.get(), &SsdpDeviceDiscovery::deviceGone,
                         [this](const auto &one) { note("-", one); });
    }

    void note(const char *what, const SsdpDevice &device) { events += latin(what) + device.usn + latin(" "); }
    void notify(const char *usn, const char *headers) { add(messageOf("NOTIFY * HTTP/1.1", usn, headers)); }
    void add(const SsdpMessage &message) { discovery->addMessage(message, QHostAddress(latin("10.0.0.1"))); }
    void passSeconds(double seconds)
    {
        now = now.addMSecs(qint64(seconds * 1000));
        discovery->sweep();
    }
    QString takeEvents() { return std::exchange(events, QString()).trimmed(); }

    QDateTime now = Noon;
    QString events;
    std::unique_ptr<SsdpDeviceDiscovery> discovery;
};

TEST_F(SsdpDiscoveryTest, DevicesComeChangeAndGo)
{
    notify("nobody", "NTS: ssdp:byebye\r\n");
    EXPECT_EQ(takeEvents(), QString()) << "a good-bye of an unknown name";
    notify("a", "NTS: ssdp:alive\r\nBOOTID.UPNP.ORG: 1\r\n");
    notify("a", "NTS: ssdp:alive\r\nBOOTID.UPNP.ORG: 1\r\nCACHE-CONTROL: max-age=100\r\nCONFIGID.UPNP.ORG: -1\r\n");
    add(messageOf("HTTP/1.1 200 OK", "b", "ST: ssdp:all\r\n"));
    add(messageOf("M-SEARCH * HTTP/1.1", "c"));
    add(messageOf("NOTIFY * HTTP/1.1", "", "NTS: ssdp:alive\r\n"));
    EXPECT_EQ(takeEvents(), latin("+a +b"));
    notify("a", "NTS: ssdp:update\r\nBOOTID.UPNP.ORG: 2\r\n");
    EXPECT_EQ(takeEvents(), latin("*a"));
    passSeconds(100);
    EXPECT_EQ(takeEvents(), QString()) << "it expires now, not earlier";
    passSeconds(0.001);
    EXPECT_EQ(takeEvents(), latin("-a")) << "an update without an age leaves the old one";
    notify("zero", "NTS: ssdp:alive\r\nCACHE-CONTROL: max-age=0\r\n");
    notify("old", "NTS: ssdp:alive\r\nCACHE-CONTROL: max-age=-3\r\n");
    passSeconds(1);
    EXPECT_EQ(takeEvents(), latin("+zero +old -zero -old"));
    notify("b", "NTS: ssdp:byebye\r\n");
    EXPECT_EQ(takeEvents(), latin("-b"));
    notify("huge", "NTS: ssdp:alive\r\nCACHE-CONTROL: max-age=999999999999\r\n");
    EXPECT_EQ(discovery->getDevices().first().expiry, now.addSecs(2147483647));
}

TEST_F(SsdpDiscoveryTest, ABurstLeavesAnAnsweringDeviceInPlace)
{
    add(messageOf("HTTP/1.1 200 OK", "real"));
    for (int number = 0; number < 5000; ++number)
        notify(QByteArray::number(number).constData(), "NTS: ssdp:alive\r\n");
    EXPECT_FALSE(events.contains(latin("-real")));
    EXPECT_EQ(events.count(QLatin1Char('+')) - events.count(QLatin1Char('-')), discovery->getDevices().size());
}

TEST(SsdpLocation, OfAStrangerIsTakenOnlyWhenItLeadsBackToHim)
{
    struct Row
    {
        const char *text;
        bool own, foreign;
    };
    const QHostAddress sender(latin("10.0.0.1"));
    for (const Row &row : {Row{"tcp://10.0.0.1:7", true, true}, Row{"http://10.0.0.1/d.xml", true, true},
                           Row{"TCP://10.0.0.1", true, true}, Row{"tcp://[::ffff:10.0.0.1]:7", true, true},
                           Row{"tcp://10.0.0.2:7", false, true}, Row{"http://name/", false, true},
                           Row{"https://10.0.0.1/", false, false}, Row{"file:///etc/passwd", false, false},
                           Row{"javascript:alert(1)", false, false}, Row{"//10.0.0.1/", false, false},
                           Row{"", false, false}, Row{"tcp:", false, false}, Row{"tcp://:7", false, false},
                           Row{"tcp://10.0.0.1:70000", false, false}, Row{"http://10.0.0.1 /", false, false}}) {
        EXPECT_EQ(ReadSsdpLocation(latin(row.text), sender, false).isValid(), row.own) << row.text;
        EXPECT_EQ(ReadSsdpLocation(latin(row.text), sender, true).isValid(), row.foreign) << row.text;
    }
    SetConnectableSchemes({latin("NOX")});
    EXPECT_TRUE(ReadSsdpLocation(latin("nox://10.0.0.1"), sender, false).isValid());
    EXPECT_FALSE(ReadSsdpLocation(latin("tcp://10.0.0.1"), sender, false).isValid());
    SetConnectableSchemes({latin("tcp")});
}

SsdpInterface interfaceOf(const char *name, const char *title, const QStringList &addresses, bool isUp = true)
{
    SsdpInterface made{1, latin(name), latin(title), isUp, latin(name) == latin("lo"), {}};
    for (const QString &address : addresses) {
        QNetworkAddressEntry entry;
        entry.setIp(QHostAddress(address.section(QLatin1Char('/'), 0, 0)));
        entry.setPrefixLength(address.section(QLatin1Char('/'), 1).toInt());
        made.addresses.append(entry);
    }
    return made;
}

TEST(SsdpInterface, TakesPartUnlessItIsLoopbackOrVirtual)
{
    const QVector<SsdpInterface> all{interfaceOf("lo", "lo", {latin("127.0.0.1/8")}),
                                     interfaceOf("eth0", "Ethernet", {latin("fe80::1/64"), latin("10.0.0.5/24")}),
                                     interfaceOf("vbox0", "VirtualBox Host-Only", {latin("192.168.56.1/24")}),
                                     interfaceOf("v1", "virtualbox", {latin("10.1.0.1/24")}),
                                     interfaceOf("wlan0", "Wi-Fi", {latin("10.2.0.1/24")}, false),
                                     interfaceOf("six", "six", {latin("fe80::2/64")})};
    struct Row
    {
        SsdpInterfaceSelection selection;
        const char *expected;
    };
    for (const Row &row : {Row{{}, "eth0 v1"}, Row{{{}, true}, "lo eth0 v1"}, Row{{latin("lo"), false}, "lo"},
                           Row{{latin("VirtualBox Host-Only"), false}, "vbox0"}, Row{{latin("wlan0"), false}, ""},
                           Row{{latin("six"), false}, ""}, Row{{latin("nonesuch"), true}, ""}}) {
        QStringList names;
        for (const SsdpInterface &one : SelectSsdpInterfaces(all, row.selection))
            names.append(one.name);
        EXPECT_EQ(names.join(QLatin1Char(' ')), latin(row.expected)) << qPrintable(row.selection.name);
    }
    EXPECT_TRUE(SelectSsdpInterfaces({all[0], all[2]}, {}).isEmpty());

    for (const auto &[sender, name] :
         {std::pair("10.0.0.77", "eth0"), std::pair("10.0.1.77", ""), std::pair("127.9.9.9", "lo"),
          std::pair("192.168.56.3", "vbox0"), std::pair("fe80::9", "eth0"), std::pair("8.8.8.8", "")}) {
        const SsdpInterface *found = FindSsdpInterface(all, QHostAddress(latin(sender)));
        EXPECT_EQ(found ? found->name : QString(), latin(name)) << sender;
    }

    struct Place
    {
        const char *url;
        int interface;
        const char *expected;
    };
    for (const Place &row :
         {Place{"tcp://0.0.0.0:7", 1, "tcp://10.0.0.5:7"}, Place{"http://[::]:7/d", 0, "http://127.0.0.1:7/d"},
          Place{"tcp://127.0.0.1:7", 1, ""}, Place{"tcp://localhost:7", 1, ""},
          Place{"tcp://127.0.0.1:7", 0, "tcp://127.0.0.1:7"}, Place{"tcp://10.9.9.9:7", 1, "tcp://10.9.9.9:7"}})
        EXPECT_EQ(MakeSsdpLocation(QUrl(latin(row.url)), all[row.interface]).toString(), latin(row.expected))
            << row.url;
}

} // namespace
