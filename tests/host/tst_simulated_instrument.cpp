#include "host/instrument/simulated_instrument.h"
#include "host/protocol/messages.h"
#include "tests/support/event_loop.h"

#include <QTcpSocket>
#include <QTest>
#include <gtest/gtest.h>

#include <deque>
#include <map>

using namespace NoxHost;

namespace
{

constexpr int BoundMs = 60'000;
const QByteArray Start = "{\"message\":\"start\"}\n";

template <class Condition>
bool waitFor(Condition condition)
{
    return QTest::qWaitFor(condition, BoundMs);
}

/// A host that reads as much as it is told to.
class Host
{
public:
    explicit Host(const QUrl &url)
    {
        m_socket.connectToHost(url.host(), quint16(url.port()));
        EXPECT_EQ(next().name, Wire::Names::Announcement);
    }

    void send(const QByteArray &bytes) { m_socket.write(bytes); }
    /// From now on nothing is taken from the system's buffer.
    void stopReading() { m_socket.setReadBufferSize(1); }
    void goOnReading() { m_socket.setReadBufferSize(0); }
    bool isConnected() const { return m_socket.state() == QAbstractSocket::ConnectedState; }

    /// The next message but heartbeats; one without a name when the instrument has closed.
    WireMessage next()
    {
        while (true) {
            if (const auto line = m_framer.take()) {
                WireMessage message = readMessage(line->bytes);
                if (message.name != Wire::Names::Heartbeat)
                    return message;
            } else if (!waitFor([this] {
                           return m_socket.bytesAvailable() > 0 ||
                                  m_socket.error() == QTcpSocket::RemoteHostClosedError;
                       })) {
                ADD_FAILURE() << "nothing came";
                return {};
            } else if (m_socket.bytesAvailable() == 0) {
                return {};
            } else {
                m_framer.feed(m_socket.readAll());
            }
        }
    }

private:
    QTcpSocket m_socket;
    LineFramer m_framer;
};

/// Checks that each period of each channel comes once, in order, or is told of as lost.
class Continuity
{
public:
    void check(const WireMessage &message)
    {
        const int channel = message.object.value(Wire::Channel).toInt();
        if (message.name == Wire::Names::VoltageScope) {
            EXPECT_GE(message.object.value(Wire::Index).toInt(), m_next[0]);
            m_scope = message.object.value(Wire::Index).toInt();
        } else if (message.name == Wire::Names::PeriodBlock) {
            EXPECT_EQ(message.object.value(Wire::Index).toInt(), m_next[channel]);
            EXPECT_EQ(m_scope, m_next[channel]) << "the scope of a period precedes it";
            ++m_next[channel];
        } else if (message.name == Wire::Names::Overrun) {
            EXPECT_EQ(message.object.value(Wire::From).toInt(), m_next[channel]);
            lost += message.object.value(Wire::To).toInt() + 1 - m_next[channel];
            m_next[channel] = message.object.value(Wire::To).toInt() + 1;
        }
    }
    int next(int channel) const { return m_next.at(channel); }

    int lost = 0;

private:
    std::map<int, int> m_next;
    int m_scope = -1;
};

QStringList caught;

/// Those of the instrument; a socket of the test that writes too late logs lines of its own.
void catchLine(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (type == QtWarningMsg && QLatin1String(context.category) == QLatin1String("NoxHost"))
        caught.append(text);
}

class InstrumentTest : public testing::Test
{
protected:
    InstrumentTest()
    {
        application();
        settings.port = 0;
        settings.speed = 0;
        settings.signal.channels = 2;
        settings.signal.profile = {};
        caught.clear();
        m_before = qInstallMessageHandler(catchLine);
    }
    ~InstrumentTest() override { qInstallMessageHandler(m_before); }

    void listen()
    {
        instrument = std::make_unique<SimulatedInstrument>(settings);
        QString error;
        ASSERT_TRUE(instrument->listen(error)) << error.toStdString();
        url = instrument->url();
    }

    InstrumentSettings settings;
    std::unique_ptr<SimulatedInstrument> instrument;
    QUrl url;

private:
    QtMessageHandler m_before;
};

/// Lines in short: S of scope, B and O of channels with their periods.
QString shortened(const QByteArray &bytes)
{
    QStringList words;
    for (const QByteArray &line : bytes.split('\n')) {
        const WireMessage message = readMessage(line);
        const auto number = [&](const QString &member) {
            return QString::number(message.object.value(member).toInt());
        };
        if (message.name == Wire::Names::VoltageScope)
            words << QLatin1Char('S') + number(Wire::Index);
        else if (message.name == Wire::Names::PeriodBlock)
            words << QStringLiteral("B%1:%2").arg(number(Wire::Channel), number(Wire::Index));
        else if (message.name == Wire::Names::Overrun)
            words << QStringLiteral("O%1:%2-%3").arg(number(Wire::Channel), number(Wire::From), number(Wire::To));
    }
    return words.join(QLatin1Char(' '));
}

} // namespace

TEST_F(InstrumentTest, RunDropsAboveTheLimitAndTellsInPlace)
{
    settings.limits.unsentBytes = 1000;
    const SimulatedSignalSource source(settings.signal);
    InstrumentParameters parameters(2, 1.0);
    InstrumentRun run(source, parameters, settings);
    EXPECT_FALSE(run.waitMs().has_value());
    run.start();
    const struct
    {
        std::array<int, 3> unsent; // before the scope and before each block
        bool isSecondEnabled;
        const char *sent;
    } rows[] = {
        {{1000, 1000, 1000}, true, "S0 B0:0 B1:0"}, // the limit itself is allowed
        {{1001, 0, 0}, true, ""},                   // a period without its scope has no blocks either
        {{501, 501, 501}, true, ""},                // still too little room
        {{501, 501, 501}, false, ""},
        {{501, 501, 501}, true, "O1:1-2"}, // period 3 was not measured, so it is not missing
        {{500, 500, 500}, true, "S5 O0:1-4 B0:5 O1:4-4 B1:5"},
        {{0, 0, 1001}, true, "S6 B0:6"},
        {{0, 0, 0}, false, "S7 B0:7 O1:6-6"},
        {{0, 1001, 0}, true, "S8"},
    };
    for (const auto &row : rows) {
        parameters.set(QStringLiteral("ch1/enabled"), row.isSecondEnabled);
        QByteArray sent;
        for (const int unsent : row.unsent) {
            EXPECT_EQ(run.waitMs(), 0);
            sent += run.step(unsent);
        }
        EXPECT_EQ(shortened(sent).toStdString(), row.sent);
    }
    EXPECT_EQ(shortened(run.stop()).toStdString(), "O0:8-8 O1:8-8");
    run.start();
    EXPECT_EQ(shortened(run.step(0)).toStdString(), "S9");
}

TEST_F(InstrumentTest, PeriodsAreSentWhenTheyHaveEnded)
{
    settings.speed = 2.0;
    listen();
    Host host(url);
    QElapsedTimer time;
    time.start();
    host.send(Start);
    for (int index = 0; index < 5;) {
        const WireMessage message = host.next();
        if (message.name != Wire::Names::PeriodBlock || message.object.value(Wire::Channel) != 1)
            continue;
        EXPECT_EQ(message.object.value(Wire::Index), index);
        EXPECT_GE(time.elapsed(), 10 * ++index - 1);
    }
}

TEST_F(InstrumentTest, AHostThatDoesNotReadHoldsUpNobodyAndLosesNothingAtSpeedZero)
{
    settings.limits.unpacedBytes = 1 << 20;
    settings.signal.pulsesPerPeriod = 1000;
    settings.signal.kinds = {DischargeKind::Noise};
    listen();
    Host lazy(url);
    lazy.stopReading();
    lazy.send(Start);
    ASSERT_TRUE(waitFor([this] { return instrument->mostUnsentBytes() >= settings.limits.unpacedBytes; }));
    Host eager(url);
    eager.send(Start);
    for (Host *host : {&eager, &lazy}) {
        host->goOnReading();
        Continuity continuity;
        for (int i = 0; i < 300; ++i)
            continuity.check(host->next());
        EXPECT_EQ(continuity.lost, 0);
        EXPECT_GT(continuity.next(1), 90);
        EXPECT_LT(instrument->mostUnsentBytes(), settings.limits.unpacedBytes + 100'000) << "and one block more";
    }
}

TEST_F(InstrumentTest, OverrunsAreToldInOrderAndBounded)
{
    settings.limits.unsentBytes = 1 << 20;
    settings.speed = 1e4;
    settings.signal.pulsesPerPeriod = 1000;
    settings.signal.kinds = {DischargeKind::Noise};
    listen();
    Host host(url);
    host.stopReading();
    host.send(Start);
    ASSERT_TRUE(waitFor([this] { return instrument->mostUnsentBytes() > settings.limits.unsentBytes; }));
    EXPECT_FALSE(QTest::qWaitFor([this] { return instrument->mostUnsentBytes() > (1 << 20) + 100'000; }, 300));
    host.goOnReading();
    Continuity continuity;
    while (continuity.lost == 0)
        continuity.check(host.next());
    host.send("{\"message\":\"stop\",\"id\":3}\n");
    for (WireMessage message = host.next(); message.name != Wire::Names::Response || !message.object.contains(Wire::Id);
         message = host.next()) {
        ASSERT_FALSE(message.name.isEmpty());
        continuity.check(message);
    }
    EXPECT_EQ(continuity.next(0), continuity.next(1)) << "what was dropped is told before the stop";
}

TEST_F(InstrumentTest, HostsAreLeftWithOneLine)
{
    settings.limits = {
        .unsentBytes = 1 << 18, .answerBytes = 1 << 18, .heartbeatMs = 100, .silenceMs = 1500, .hosts = 2};
    settings.signal.channels = 1;
    listen();
    const struct
    {
        QByteArray bytes; // sent until the host is left
        const char *words;
    } rows[] = {
        {"", "was silent for 1.5 s"},
        {"x", "was silent for 1.5 s"}, // bytes, but never a line
        {"?\n", "is left after 100 errors in a row"},
        {R"({"message":"request","parameter":")" + QByteArray(200'000, 'p') + "\"}\n", "does not read its answers"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.words);
        Host host(url);
        host.stopReading();
        caught.clear();
        EXPECT_TRUE(waitFor([&] {
            host.send(row.bytes);
            return instrument->hostCount() == 0;
        }));
        ASSERT_FALSE(caught.isEmpty());
        EXPECT_TRUE(caught.takeLast().contains(QLatin1String(row.words)));
        EXPECT_EQ(caught.filter(QStringLiteral("breaks the protocol")).size(), caught.size());
    }
    EXPECT_EQ(caught.size(), 0);

    // A busy machine may keep these hosts silent for a while.
    settings.limits.silenceMs = InstrumentLimits().silenceMs;
    listen();
    Host first(url), second(url);
    QTcpSocket third;
    third.connectToHost(url.host(), quint16(url.port()));
    EXPECT_TRUE(waitFor([&] { return third.state() == QTcpSocket::UnconnectedState && third.bytesAvailable() > 0; }));
    EXPECT_EQ(readMessage(third.readAll()).name, Wire::Names::Error);
    EXPECT_EQ(caught.filter(QStringLiteral("is turned away")).size(), caught.size());
    caught.clear();
    const QByteArray news = R"({"message":"news"})"
                            "\n";
    first.send(news + news +
               R"({"message":"other\u001b"})"
               "\n"
               R"({"message":"error","reason":"so"})"
               "\n");
    first.send(R"({"message":"request","parameter":"ch0/gain","value":2})"
               "\n");
    EXPECT_EQ(first.next().name, Wire::Names::Response) << "none of these is answered";
    EXPECT_EQ(second.next().name, Wire::Names::ParameterChange);
    EXPECT_EQ(caught.size(), 3);
    EXPECT_TRUE(caught.value(1).endsWith(QLatin1String("other?")));
    instrument->stop();
    EXPECT_TRUE(first.next().name.isEmpty() && second.next().name.isEmpty());
    EXPECT_TRUE(instrument->url().isEmpty() && instrument->hostCount() == 0);
}

TEST(InstrumentParameters, AreKnownByTheirExactNames)
{
    InstrumentParameters parameters(3, 0.5);
    const QJsonObject before = parameters.values();
    EXPECT_EQ(before.size(), 9);
    for (const char *name : {"ch3/gain", "ch01/gain", "ch-1/gain", "ch+1/gain", "ch 1/gain", "ch1/gain/x", "CH1/gain",
                             "ch1/", "ch4294967296/gain", "ch/gain", "gain", ""}) {
        const auto outcome = parameters.set(QString::fromLatin1(name), 2);
        EXPECT_TRUE(!outcome.reason.isEmpty() && outcome.value.isUndefined() && !outcome.isChanged) << name;
    }
    EXPECT_EQ(parameters.values(), before);
    EXPECT_TRUE(parameters.set(QStringLiteral("ch2/gain"), 2).isChanged);
    EXPECT_FALSE(parameters.set(QStringLiteral("ch2/gain"), 2.0).isChanged);
    EXPECT_EQ(parameters.set(QStringLiteral("ch2/gain"), 10.1).value, 2.0) << "the value in force";
}
