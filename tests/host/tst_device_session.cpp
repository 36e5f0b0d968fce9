#include "connections/devices/device_request_response_utils.h"
#include "connections/devices/pd_device.h"
#include "entries/catalogue/results_pd.h"
#include "entries/property_keys.h"
#include "host/protocol/message_names.h"
#include "host/session/device_session.h"
#include "host/session/parameter_requests.h"
#include "platform/configuration_tree.h"
#include "tests/host/scripted_instrument.h"
#include "tests/support/log_catcher.h"

#include <gtest/gtest.h>

namespace
{

using namespace NoxHost;
using CommonNOX::Devices::PdDevice;

/// A session with a scripted instrument, measuring as soon as it is ready.
class DeviceSessionTest : public ::testing::Test
{
protected:
    ~DeviceSessionTest() override { tree->clear(); }

    void open(const LinkSettings &settings = quick())
    {
        session = std::make_unique<DeviceSession>(settings, tree);
        QObject::connect(session.get(), &DeviceSession::ready, [this] {
            subscription = session->getDevice()->subscribePeriodBlocks(
                [this](int channel, quint64 index, const PdDevice::PeriodBlockPtr &block, const auto &) {
                    const int count = block->get(CommonNOX::Entries::Keys::Periods).toList().size();
                    for (int i = 0; i < count; ++i)
                        received += QStringLiteral("%1:%2").arg(channel).arg(index + quint64(i));
                });
            session->start();
        });
        QObject::connect(session.get(), &DeviceSession::ended, [this](const QString &sentence) { ended = sentence; });
        session->open(instrument.url());
    }
    void measure()
    {
        open();
        ASSERT_TRUE(runUntil([&] { return instrument.count("start") == 1; })) << ended.toStdString();
    }
    bool waitForPeriods(int count)
    {
        return runUntil([&] { return received.size() == count; }, 20'000);
    }

    static LinkSettings quick()
    {
        LinkSettings settings;
        settings.announcementTimeoutMs = 2000;
        settings.firstPauseMs = 5;
        settings.giveUpMs = 3000;
        return settings;
    }

    ScriptedInstrument instrument;
    const std::shared_ptr<Utilities::ConfigurationTree> tree = std::make_shared<Utilities::ConfigurationTree>();
    std::unique_ptr<DeviceSession> session;
    Shared::Subscription subscription;
    QStringList received;
    QString ended;
    const LogCatcher log;
};

TEST_F(DeviceSessionTest, IndicesNeverRepeatOverLosses)
{
    measure();
    instrument.send(instrument.block(0, 0, 2) + instrument.block(1, 0, 2) + instrument.block(0, 2));
    ASSERT_TRUE(waitForPeriods(5));
    instrument.cut();
    ASSERT_TRUE(runUntil([&] { return instrument.hosts == 2 && instrument.count("start") == 1; }));
    instrument.send(instrument.block(0, 0) + instrument.block(1, 0));
    ASSERT_TRUE(waitForPeriods(7));
    EXPECT_EQ(received.mid(5), QStringList({QStringLiteral("0:3"), QStringLiteral("1:3")}));
    // An instrument that goes on where it was is believed.
    instrument.cut();
    ASSERT_TRUE(runUntil([&] { return instrument.hosts == 3 && instrument.count("start") == 1; }));
    instrument.send(instrument.block(1, 50) + instrument.block(0, 50));
    ASSERT_TRUE(waitForPeriods(9));
    EXPECT_EQ(received.mid(7), QStringList({QStringLiteral("1:50"), QStringLiteral("0:50")}));
    EXPECT_EQ(session->getCounts().interruptions, 2u);
    EXPECT_EQ(session->getCounts().missingPeriods, 0u) << "what a loss takes along nobody knows";
    EXPECT_NEAR(session->getSeconds(), 5 * 0.02, 1e-9) << "the gaps left out";
}

TEST_F(DeviceSessionTest, CountsWhatIsLostAndRefusesWhatRunsBackwards)
{
    measure();
    instrument.send(instrument.block(0, 0) +
                    R"({"message":"overrun","channel":0,"from":1,"to":4})"
                    "\n" +
                    instrument.block(0, 5) + instrument.block(0, 8) + instrument.block(0, 7) + instrument.block(2, 0) +
                    R"({"message":"overrun","channel":0,"from":4,"to":1})"
                    "\n" +
                    instrument.block(0, 9));
    ASSERT_TRUE(waitForPeriods(4));
    EXPECT_EQ(session->getCounts().lostPeriods, 4u);
    EXPECT_EQ(session->getCounts().missingPeriods, 2u);
    ASSERT_TRUE(runUntil([&] { return instrument.count("error") == 3; })) << "backwards, unknown channel, overrun";
    EXPECT_EQ(log.take().filter(QStringLiteral("refused")).size(), 3) << "one line each";
}

TEST_F(DeviceSessionTest, NothingThatWasWholeIsLostWhenThePeerCloses)
{
    bool isFull = false;
    open();
    session->setFlowControl([&] { return isFull; });
    ASSERT_TRUE(runUntil([&] { return instrument.count("start") == 1; })) << ended.toStdString();
    isFull = true;
    constexpr int Blocks = 3000; // more than are read in one turn
    QByteArray bytes;
    for (int i = 0; i < Blocks; ++i)
        bytes += instrument.block(0, i % 60).replace("\"index\":" + QByteArray::number(i % 60),
                                                     "\"index\":" + QByteArray::number(i));
    instrument.send(bytes + "{\"message\":\"peri");
    instrument.host->disconnectFromHost();
    ASSERT_TRUE(waitForPeriods(1));
    runUntil([] { return false; }, 50);
    EXPECT_EQ(received.size(), 1);
    isFull = false;
    ASSERT_TRUE(waitForPeriods(Blocks));
    ASSERT_TRUE(runUntil([&] { return instrument.hosts == 2; })) << "and only then it is closed, and opened again";
}

TEST_F(DeviceSessionTest, AWrongLineCostsOneLineAndNothingElse)
{
    const QByteArray lines[] = {
        "no json",
        "[1,2]",
        "{\"message\":5}",
        R"({"message":"period_block","channel":0,"index":NaN,"periods":[]})",
        R"({"message":"period_block","channel":0,"index":1e999,"periods":[]})",
        instrument.block(0, 7).replace("\"channel\":0", "\"channel\":2147483648"),
        instrument.block(0, 7).replace("\"channel\":0", "\"channel\":\"0\""),
        instrument.block(0, 7).replace("50000", "-1"),
        instrument.block(0, 7).replace("Peaks\":\"", "Peaks\":\"!"),
        instrument.block(0, 7).replace("\"StartTime\":7000", "\"StartTime\":7001"),
        instrument.block(0, 7).left(60),
        QByteArray(Wire::MaximumLineBytes + 1, 'x'),
        instrument.announcement(),
    };
    measure();
    log.take();
    int index = 0;
    for (const QByteArray &line : lines) {
        instrument.send(line.trimmed() + '\n' + instrument.block(0, index++));
        ASSERT_TRUE(waitForPeriods(index)) << line.left(80).toStdString();
        ASSERT_TRUE(runUntil([&] { return instrument.count("error") == index; })) << line.left(80).toStdString();
        EXPECT_EQ(log.take().size(), 1) << line.left(80).toStdString();
    }
    // What is unknown is ignored, and told once a name.
    instrument.send("{\"message\":\"weather\"}\n{\"message\":\"weather\"}\n{\"message\":\"heartbeat\"}\n" +
                    instrument.block(0, index));
    ASSERT_TRUE(waitForPeriods(index + 1));
    EXPECT_EQ(log.take().size(), 1);

    QByteArray many;
    for (int i = 0; i < Wire::MaximumErrorsInARow; ++i)
        many += "?\n";
    instrument.send(many);
    ASSERT_TRUE(runUntil([&] { return instrument.hosts == 2; })) << "closed, and opened again";
}

TEST_F(DeviceSessionTest, FailsWithOneSentence)
{
    struct Row
    {
        QByteArray greeting;
        const char *sentence;
    };
    const QByteArray version = "\"protocol_version\":\"1.0\"";
    const Row rows[] = {
        {"", "no announcement"},
        {instrument.block(0, 0), "no announcement"},
        {instrument.announcement().replace(version, "\"protocol_version\":\"one\""), "no announcement"},
        {instrument.announcement().replace(version, "\"protocol_version\":\"2.0\""), "version 2.0"},
        {instrument.announcement(2, {}, ""), "not complete"},
        {instrument.announcement(0), "0 channels"},
        {instrument.announcement(1).replace(":1}", ":2147483648}"), "0 channels"},
        {instrument.announcement(100'000) +
             R"({"message":"response","id":1,"parameter":"x","status":"ok"})"
             "\n" +
             instrument.block(0, 0),
         "100000 channels"},
        {instrument.announcement(1, {}, QByteArray(300, 's')), "beyond all bounds"},
        {instrument.announcement(2, R"(,"channels":["index=1"])"), "not valid"},
        {instrument.announcement(1, R"(,"channels":["coupling_type=moon"])"), "not valid"},
    };
    LinkSettings settings = quick();
    settings.announcementTimeoutMs = 300;
    for (const Row &row : rows) {
        ended.clear();
        instrument.greeting = row.greeting;
        open(settings);
        ASSERT_TRUE(runUntil([&] { return !ended.isEmpty(); })) << row.sentence;
        const QString sentence =
            QString(ended).replace(QStringLiteral("did not announce"), QStringLiteral("no announcement"));
        EXPECT_TRUE(sentence.contains(QLatin1String(row.sentence))) << sentence.toStdString();
        EXPECT_EQ(sentence.count(QLatin1Char('\n')), 0);
        session.reset();
    }
}

TEST_F(DeviceSessionTest, IsLostForGood)
{
    LinkSettings settings = quick();
    settings.giveUpMs = 200;
    const auto loseIt = [&](const LinkSettings &how, auto &&after, const char *sentence) {
        ended.clear();
        open(how);
        ASSERT_TRUE(runUntil([&] { return instrument.count("start") == 1; })) << ended.toStdString();
        after();
        instrument.cut();
        ASSERT_TRUE(runUntil([&] { return !ended.isEmpty(); }));
        EXPECT_TRUE(ended.contains(QLatin1String(sentence))) << ended.toStdString();
        session.reset();
        instrument.messages.clear();
    };
    loseIt(
        settings, [&] { instrument.stopListening(); }, "lost for good");
    instrument.listenAgain();
    settings.reconnects = false;
    loseIt(
        settings, [] {}, "is lost");
    loseIt(
        quick(), [&] { instrument.greeting = instrument.announcement(2, {}, "S2"); }, "another instrument");
}

TEST_F(DeviceSessionTest, ParametersTravelAndSurviveALoss)
{
    instrument.greeting = instrument.announcement(1, R"(,"parameters":{"ch0/gain":1,"mode":"fast"})");
    measure();
    const auto provider = CommonNOX::Devices::utils::GetDeviceRequestResponseProvider(
        session->getDevice()->getContext(), session->getDevice()->getPath());
    ASSERT_TRUE(provider);
    const auto response = [&](const char *name) { return provider->getResponseForParameter(QLatin1String(name)); };
    QStringList finished;
    QObject::connect(session->getParameterRequests(), &ParameterRequests::requestFinished,
                     [&](const QString &parameter, const QVariant &value, const QString &reason) {
                         finished += parameter + QLatin1Char('=') + value.toString() + QLatin1Char(' ') + reason;
                     });
    const auto ask = [&](const char *name, const QVariant &value, int requests) {
        session->request(QLatin1String(name), value);
        return runUntil([&] { return instrument.count("request") == requests; });
    };
    EXPECT_EQ(response("mode").toString(), QLatin1String("fast")) << "as announced";

    ASSERT_TRUE(ask("ch0/gain", 3, 1));
    // A value that is stored meanwhile goes out when this one is answered, and only the last of them.
    session->request(QStringLiteral("ch0/gain"), 4);
    session->request(QStringLiteral("ch0/gain"), 5);
    instrument.answerLast(R"("value":3,"status":"ok")");
    ASSERT_TRUE(runUntil([&] { return instrument.count("request") == 2; }));
    EXPECT_EQ(response("ch0/gain").toInt(), 3);
    EXPECT_EQ(instrument.last().value(QLatin1String("value")).toInt(), 5);
    instrument.answerLast(R"("value":5,"status":"ok")");
    ASSERT_TRUE(ask("unheard/of", true, 3));
    instrument.answerLast(R"("status":"rejected","reason":"never heard")");
    ASSERT_TRUE(runUntil([&] { return finished.size() == 3; }));
    EXPECT_EQ(finished.last(), QLatin1String("unheard/of= never heard"));
    instrument.send(R"({"message":"parameter","parameter":"mode","value":"slow"})"
                    "\n"
                    R"({"message":"response","id":99,"parameter":"mode","value":1,"status":"ok"})"
                    "\n");
    ASSERT_TRUE(runUntil([&] { return response("mode").toString() == QLatin1String("slow"); }));

    // What was not answered before the loss is asked again after it, and so is what the instrument has forgotten.
    ASSERT_TRUE(ask("mode", QStringLiteral("quick"), 4));
    instrument.cut();
    ASSERT_TRUE(runUntil([&] { return instrument.hosts == 2 && instrument.count("request") == 2; }));
    EXPECT_FALSE(provider->hasRequestPendingForParameter(QStringLiteral("unheard/of"))) << "refused is refused";
    QMap<QString, QVariant> asked;
    for (const QJsonObject &message : instrument.messages)
        asked[message.value(QLatin1String("parameter")).toString()] = message.value(QLatin1String("value")).toVariant();
    EXPECT_EQ(asked.value(QStringLiteral("mode")).toString(), QLatin1String("quick"));
    EXPECT_EQ(asked.value(QStringLiteral("ch0/gain")).toInt(), 5);
}

TEST_F(DeviceSessionTest, ARequestTimesOutWithOneLine)
{
    measure();
    const auto provider = std::make_shared<CommonNOX::Devices::DeviceRequestResponseProvider>(
        Shared::GuiContexts::MakeReader({}, tree), QStringLiteral("other"),
        QMap<QString, QString>{{QString(), Wire::Names::Request}});
    provider->setConnectionPath(QStringLiteral("nox/connections/") +
                                tree->getChildren(QStringLiteral("nox/connections")).value(0));
    ParameterRequests requests(provider, 50);
    requests.resume();
    QString reason;
    QObject::connect(&requests, &ParameterRequests::requestFinished,
                     [&](const QString &, const QVariant &, const QString &why) { reason = why; });
    log.take();
    tree->write(QStringLiteral("other/request/gain"), 1);
    ASSERT_TRUE(runUntil([&] { return !reason.isEmpty(); }));
    EXPECT_EQ(log.take().size(), 1);
    EXPECT_FALSE(provider->hasRequestPendingForParameter(QStringLiteral("gain")));
}

TEST_F(DeviceSessionTest, ReadsNoMoreThanIsWantedAndCutsAtTheLimit)
{
    bool isFull = false;
    open();
    session->setFlowControl([&] { return isFull; });
    session->setPeriodLimit(7);
    ASSERT_TRUE(runUntil([&] { return instrument.count("start") == 1; }));
    isFull = true;
    instrument.send(instrument.block(0, 0) + instrument.block(1, 0));
    ASSERT_TRUE(waitForPeriods(1));
    runUntil([] { return false; }, 100);
    EXPECT_EQ(received.size(), 1) << "held up";
    isFull = false;
    instrument.send(instrument.block(0, 1, 10) + instrument.block(1, 1, 5));
    ASSERT_TRUE(waitForPeriods(13));
    EXPECT_FALSE(session->isLimitReached());
    instrument.send(instrument.block(1, 6));
    ASSERT_TRUE(runUntil([&] { return session->isLimitReached(); }));
    EXPECT_EQ(received.filter(QStringLiteral("0:")).size(), 7);
    EXPECT_EQ(received.last(), QLatin1String("1:6"));
}

} // namespace
