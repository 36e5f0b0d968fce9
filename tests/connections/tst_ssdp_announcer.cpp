#include "connections/discovery/ssdp_advertisement.h"
#include "connections/discovery/ssdp_device_announcer.h"
#include "connections/discovery/ssdp_device_discovery.h"
#include "connections/discovery/ssdp_location.h"
#include "connections/discovery/upnp_ssdp_service_announcer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QNetworkDatagram>
#include <QNetworkInterface>
#include <QUdpSocket>
#include <QUuid>

#include <gmock/gmock.h>

namespace
{

using namespace CommonNOX::Connections;
using Kind = SsdpMessage::Kind;
using testing::Contains;
using testing::Each;

QString latin(const char *text)
{
    return QString::fromLatin1(text);
}

SsdpAdvertisement advertisementOf(const QString &uuid)
{
    SsdpAdvertisement advertisement;
    advertisement.uuid = uuid;
    advertisement.domain = latin("d");
    advertisement.type = latin("t");
    advertisement.services = QStringList{latin("s"), latin("s:3"), latin("urn:other:service:o:2")};
    advertisement.location = QUrl(latin("tcp://0.0.0.0:7"));
    return advertisement;
}

SsdpMessage searchOf(const QByteArray &man, const QByteArray &mx, const QByteArray &st)
{
    SsdpMessage search(Kind::Search);
    const std::pair<const char *, QByteArray> headers[] = {{"MAN", man}, {"MX", mx}, {"ST", st}};
    for (const auto &[name, value] : headers) {
        if (!value.isEmpty())
            search.setHeader(latin(name), QString::fromLatin1(value));
    }
    return search;
}

const QByteArray Discover = "\"ssdp:discover\"";

TEST(SsdpAdvertisement, AnswersWhatIsAskedProperly)
{
    const SsdpAdvertisement advertisement = advertisementOf(latin("u"));
    struct Row
    {
        QByteArray man, mx, st;
        int toGroup, direct;
    };
    for (const Row &row : {Row{Discover, "1", "ssdp:all", 6, 6},
                           Row{Discover, "1", "upnp:rootdevice", 1, 1},
                           Row{Discover, "1", "uuid:u", 1, 1},
                           Row{Discover, "1", "uuid:U", 0, 0},
                           Row{Discover, "1", "urn:d:device:t:1", 1, 1},
                           Row{Discover, "1", "urn:d:device:t:2", 0, 0},
                           Row{Discover, "1", "urn:d:service:s:1", 2, 2},
                           Row{Discover, "1", "urn:d:service:s:2", 1, 1},
                           Row{Discover, "1", "urn:d:service:s:4", 0, 0},
                           Row{Discover, "1", "urn:other:service:o:2", 1, 1},
                           Row{Discover, "1", "urn:other:device:o:2", 0, 0},
                           Row{Discover, "", "uuid:u", 0, 1},
                           Row{Discover, "0", "uuid:u", 0, 1},
                           Row{Discover, "-1", "uuid:u", 0, 1},
                           Row{Discover, "x", "uuid:u", 0, 1},
                           Row{Discover, "99999999999", "uuid:u", 1, 1},
                           Row{Discover, "1", "", 0, 0},
                           Row{Discover, "1", "ssdp:ALL", 0, 0},
                           Row{"ssdp:discover", "1", "ssdp:all", 0, 0},
                           Row{"\"ssdp:discover\"x", "1", "ssdp:all", 0, 0},
                           Row{"", "1", "ssdp:all", 0, 0}}) {
        const SsdpMessage search = searchOf(row.man, row.mx, row.st);
        for (const bool isMulticast : {true, false}) {
            const auto answers =
                advertisement.makeAnswers(search, isMulticast, QUrl(latin("tcp://10.0.0.1:7")), QDateTime());
            EXPECT_EQ(answers.size(), isMulticast ? row.toGroup : row.direct) << search.toDatagram().constData();
        }
    }
    SsdpMessage notification(Kind::Notify);
    notification.setHeader(latin("MAN"), QString::fromLatin1(Discover));
    notification.setHeader(latin("ST"), latin("ssdp:all"));
    EXPECT_TRUE(advertisement.makeAnswers(notification, false, QUrl(), QDateTime()).isEmpty());
    EXPECT_EQ(GetSsdpAnswerSpan(searchOf(Discover, "120", "ssdp:all"), true), std::chrono::seconds(5));
    EXPECT_EQ(GetSsdpAnswerSpan(searchOf(Discover, "2", "ssdp:all"), true), std::chrono::seconds(2));
    EXPECT_LT(GetSsdpAnswerSpan(searchOf(Discover, "5", "ssdp:all"), false), std::chrono::seconds(1));
}

TEST(SsdpAdvertisement, MessagesHoldWhatEveryStackReads)
{
    SsdpAdvertisement advertisement = advertisementOf(latin("u"));
    advertisement.bootId = 9;
    advertisement.configId = 5;
    const QUrl there(latin("tcp://10.0.0.1:7"));
    const QString server = advertisement.makeAliveSet(there).first().getHeader(latin("SERVER"));
    EXPECT_THAT(server.toStdString(), testing::MatchesRegex("[^ /]+/[^ /]+ UPnP/1.1 [^ /]+/[^ /]+"));
    const QByteArray type = "urn:d:device:t:1";
    EXPECT_EQ(advertisement.makeAliveSet(there)[2].toDatagram(),
              "NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nCACHE-CONTROL: max-age = 1800\r\n"
              "LOCATION: tcp://10.0.0.1:7\r\nSERVER: " +
                  server.toLatin1() + "\r\nNT: " + type +
                  "\r\nNTS: ssdp:alive\r\n"
                  "USN: uuid:u::" +
                  type + "\r\nBOOTID.UPNP.ORG: 9\r\nCONFIGID.UPNP.ORG: 5\r\n\r\n");
    EXPECT_EQ(advertisement.makeByeByeSet()[2].toDatagram(),
              "NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: " + type +
                  "\r\nNTS: ssdp:byebye\r\n"
                  "USN: uuid:u::" +
                  type + "\r\nBOOTID.UPNP.ORG: 9\r\nCONFIGID.UPNP.ORG: 5\r\n\r\n");
    // A lower version was asked for: its own words come back, the name stays the device's.
    const auto answers = advertisement.makeAnswers(searchOf(Discover, "1", "urn:d:service:s:2"), true, there,
                                                   QDateTime(QDate(2030, 1, 2), QTime(3, 4, 5), Qt::UTC));
    EXPECT_EQ(answers.first().toDatagram(),
              "HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age = 1800\r\nLOCATION: tcp://10.0.0.1:7\r\nSERVER: " +
                  server.toLatin1() +
                  "\r\nDATE: Wed, 02 Jan 2030 03:04:05 GMT\r\nEXT:\r\nST: urn:d:service:s:2\r\n"
                  "USN: uuid:u::urn:d:service:s:3\r\nBOOTID.UPNP.ORG: 9\r\n\r\n");
}

TEST(SsdpAdvertisement, FaultsAreFoundBeforeAnythingIsSent)
{
    using Edit = void (*)(SsdpAdvertisement &);
    const Edit edits[] = {[](auto &one) { one.uuid.clear(); },
                          [](auto &one) { one.uuid = latin("a::b"); },
                          [](auto &one) { one.domain = latin("a b"); },
                          [](auto &one) { one.type = latin("t\r\n"); },
                          [](auto &one) { one.services = QStringList{latin("s:x")}; },
                          [](auto &one) { one.services = QStringList{latin("urn:d:device:t:1")}; },
                          [](auto &one) { one.services = QStringList{QString()}; },
                          [](auto &one) { one.location = QUrl(latin("tcp:7")); },
                          [](auto &one) { one.location.clear(); }};
    EXPECT_EQ(advertisementOf(latin("u")).getFault(), QString());
    for (const Edit edit : edits) {
        SsdpAdvertisement advertisement = advertisementOf(latin("u"));
        edit(advertisement);
        EXPECT_FALSE(advertisement.getFault().isEmpty())
            << advertisement.makeByeByeSet().last().toDatagram().constData();
        EXPECT_FALSE(SsdpDeviceAnnouncer(advertisement).start());
    }
}

/// A program beside the announcer on this machine: what the group hears of one device, and answers to searches.
class LoopbackTest : public testing::Test
{
protected:
    void SetUp() override
    {
        const auto lo = QNetworkInterface::interfaceFromName(latin("lo"));
        if (!lo.isValid() ||
            !group.bind(QHostAddress::AnyIPv4, 1900, QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint) ||
            !group.joinMulticastGroup(QHostAddress(latin("239.255.255.250")), lo))
            GTEST_SKIP() << "no multicast on lo here";
        ASSERT_TRUE(direct.bind(QHostAddress(latin("127.0.0.1")), 0));
        direct.setMulticastInterface(lo);
    }

    template <class Predicate>
    bool waitUntil(Predicate holds, int boundMs = 20000)
    {
        QElapsedTimer timer;
        for (timer.start(); timer.elapsed() < boundMs && !holds();) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
            take(group, heard);
            take(direct, answers);
        }
        return holds();
    }

    void take(QUdpSocket &socket, QVector<SsdpMessage> &messages)
    {
        while (socket.hasPendingDatagrams()) {
            const SsdpMessage message = ParseSsdpDatagram(socket.receiveDatagram().data()).message;
            if (message.getHeader(latin("USN")).startsWith(latin("uuid:") + uuid))
                messages.append(message);
        }
    }

    void search(const char *mx, const char *st)
    {
        direct.writeDatagram(searchOf(Discover, mx, st).toDatagram(), QHostAddress(latin("239.255.255.250")), 1900);
    }

    QStringList heardOf(const char *word, const char *header) const
    {
        QStringList values;
        for (const SsdpMessage &message : heard) {
            if (message.getHeader(latin("NTS")) == latin(word))
                values.append(message.getHeader(latin(header)));
        }
        return values;
    }

    int argumentCount = 1;
    char program[4] = "tst";
    char *arguments[2] = {program, nullptr};
    QCoreApplication application{argumentCount, arguments};
    const QString uuid = QUuid::createUuid().toString(QUuid::WithoutBraces);
    QUdpSocket group, direct;
    QVector<SsdpMessage> heard, answers;
};

TEST_F(LoopbackTest, AnnouncesRunsAndSaysGoodBye)
{
    SsdpAdvertisement advertisement = advertisementOf(uuid);
    advertisement.maximumAge = 4; // so that sets repeat while the test waits
    SsdpAnnouncerSettings settings;
    settings.interfaces.name = latin("lo");
    settings.copyInterval = std::chrono::milliseconds(10);
    SsdpDeviceAnnouncer announcer(advertisement, settings);
    ASSERT_TRUE(announcer.start() && announcer.start());
    ASSERT_TRUE(waitUntil([&] { return heardOf("ssdp:alive", "USN").size() >= 5 * 6; })) << "three sets, then repeats";
    EXPECT_THAT(heardOf("ssdp:alive", "LOCATION"), Each(latin("tcp://127.0.0.1:7")));
    EXPECT_THAT(heardOf("ssdp:alive", "BOOTID.UPNP.ORG"), Each(QString::number(announcer.getBootId())));
    const quint32 firstBoot = announcer.getBootId();
    announcer.stop();
    ASSERT_TRUE(waitUntil([&] { return heardOf("ssdp:byebye", "USN").size() == 6; }));
    EXPECT_THAT(heardOf("ssdp:byebye", "LOCATION"), Each(testing::Property(&QString::isNull, true)));
    EXPECT_THAT(heardOf("ssdp:byebye", "BOOTID.UPNP.ORG"), Each(QString::number(firstBoot)));
    EXPECT_EQ(heardOf("ssdp:byebye", "USN"), heardOf("ssdp:alive", "USN").mid(0, 6));
    announcer.start();
    EXPECT_GT(announcer.getBootId(), firstBoot);
}

TEST_F(LoopbackTest, AnswersSearchesWithinBounds)
{
    SsdpAnnouncerSettings settings;
    settings.interfaces.name = latin("lo");
    SsdpDeviceAnnouncer announcer(advertisementOf(uuid), settings);
    ASSERT_TRUE(announcer.start());
    search("", "ssdp:all");
    search("1", "urn:d:device:t:2");
    for (int count = 0; count < 50; ++count)
        search("1", "ssdp:all");
    // Searches arrive in order, so that what is answered last tells that the burst is over.
    ASSERT_TRUE(waitUntil([&] { return answers.size() >= SsdpDeviceAnnouncer::MaximumPending; }));
    search("1", "uuid:none");
    search("1", qPrintable(latin("uuid:") + uuid));
    ASSERT_TRUE(waitUntil([&] { return answers.size() > SsdpDeviceAnnouncer::MaximumPending; }));
    EXPECT_EQ(answers.size(), SsdpDeviceAnnouncer::MaximumPending + 1);
    EXPECT_EQ(answers.last().getHeader(latin("ST")), latin("uuid:") + uuid);
}

TEST_F(LoopbackTest, IsFoundAndLostByDiscovery)
{
    SsdpDiscoverySettings settings;
    settings.interfaceName = latin("lo");
    settings.maximumWait = 1;
    SsdpDeviceDiscovery discovery(settings);
    QStringList found, gone;
    const auto collect = [this](QStringList &list) {
        return [this, &list](const SsdpDevice &device) {
            if (device.usn.contains(uuid))
                list.append(device.usn);
        };
    };
    QObject::connect(&discovery, &SsdpDeviceDiscovery::deviceFound, collect(found));
    QObject::connect(&discovery, &SsdpDeviceDiscovery::deviceGone, collect(gone));
    UpnpSsdpServiceAnnouncer announcer(QLatin1Char('{') + uuid + QLatin1Char('}'), latin("d"), latin("t"), {latin("s")},
                                       QUrl(latin("tcp://127.0.0.1:7")), true);
    ASSERT_TRUE(announcer.start());
    ASSERT_TRUE(waitUntil([&] { return heardOf("ssdp:alive", "USN").size() >= 3 * 4; })) << "nothing more is announced";
    discovery.start();
    ASSERT_TRUE(waitUntil([&] { return found.size() == 4; })) << "by the search";
    EXPECT_THAT(found, Contains(latin("uuid:%1::urn:d:service:s:1").arg(uuid)));
    announcer.stop();
    EXPECT_TRUE(waitUntil([&] { return gone.size() == 4; }));
    announcer.start();
    EXPECT_TRUE(waitUntil([&] { return found.size() == 8; })) << "by announcement";
    discovery.stop();
    EXPECT_EQ(gone.size(), 8);
}

} // namespace
