#include "connections/devices/pd_device.h"
#include "entries/property_keys.h"
#include "host/evaluation/evaluation_session.h"
#include "host/instrument/simulated_instrument.h"
#include "host/session/device_session.h"
#include "platform/configuration_tree.h"
#include "tests/host/scripted_instrument.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QThread>

#include <malloc.h>
#include <map>

namespace
{

using namespace NoxHost;

LinkSettings quick()
{
    LinkSettings settings;
    settings.firstPauseMs = 0;
    return settings;
}

EvaluationSettings qiecAndVoltage()
{
    EvaluationSettings settings;
    settings.evaluators = QStringList{QStringLiteral("qiec"), QStringLiteral("voltage")};
    return settings;
}

/// What a host puts together to measure.
struct Host
{
    explicit Host(const LinkSettings &settings = quick())
        : tree(std::make_shared<Utilities::ConfigurationTree>()),
          evaluation(std::make_unique<EvaluationSession>(qiecAndVoltage())),
          device((application(), std::make_unique<DeviceSession>(settings, tree)))
    {
        QObject::connect(device.get(), &DeviceSession::ready, [this] {
            evaluation->follow(device->getDevice());
            device->setFlowControl([this] { return evaluation && evaluation->isFull(); });
            device->start();
        });
        QObject::connect(device.get(), &DeviceSession::ended, [this](const QString &sentence) { ended = sentence; });
    }
    ~Host()
    {
        device.reset();
        tree->clear();
    }

    const std::shared_ptr<Utilities::ConfigurationTree> tree;
    std::unique_ptr<EvaluationSession> evaluation;
    std::unique_ptr<DeviceSession> device;
    QString ended;
};

TEST(LiveMeasurement, GivesTheReadingsOfTheSameSignalFedByHand)
{
    constexpr quint64 Periods = 300;
    Host host;
    host.device->setPeriodLimit(Periods);
    host.device->open(QUrl(QStringLiteral("simulator:?channels=3&speed=0&seed=5&voltage-profile=0:20,1:40")));
    ASSERT_TRUE(runUntil([&] { return host.device->isLimitReached(); })) << host.ended.toStdString();
    ASSERT_TRUE(host.evaluation->finish());

    SimulatedSignalSettings settings;
    settings.channels = 3;
    settings.seed = 5;
    QString error;
    ASSERT_TRUE(VoltageProfile::fromText(QStringLiteral("0:20,1:40"), settings.profile, error));
    SimulatedSignalSource source(settings);
    EvaluationSession direct(qiecAndVoltage());
    for (quint64 index = 0; index < Periods; ++index) {
        for (int channel = 0; channel < 3; ++channel)
            ASSERT_TRUE(direct.addPeriod(*source.period(channel, index)));
    }
    ASSERT_TRUE(direct.finish());
    std::map<std::pair<quint64, int>, double> expected;
    for (const Reading &reading : direct.takeReadings())
        expected[{reading.period, reading.channel}] = reading.record->get(CommonNOX::Entries::Keys::Value).toDouble();
    ASSERT_EQ(expected.size(), 3 * Periods);

    std::size_t ofChannels = 0, ofDevice = 0;
    for (const Reading &reading : host.evaluation->takeReadings()) {
        if (reading.channel < 0) {
            ++ofDevice;
            continue;
        }
        ++ofChannels;
        EXPECT_EQ(reading.record->get(CommonNOX::Entries::Keys::Value).toDouble(),
                  (expected[{reading.period, reading.channel}]))
            << reading.period;
    }
    EXPECT_EQ(ofChannels, expected.size());
    EXPECT_GE(ofDevice, Periods) << "a scope a period";
    EXPECT_NEAR(*host.device->getKilovolts(), 40.0, 0.5);
}

TEST(LiveMeasurement, EndsInEveryOrderAtEveryMoment)
{
    SimulatedInstrument instrument([] {
        InstrumentSettings settings;
        settings.port = 0;
        settings.speed = 0;
        settings.signal.channels = 2;
        return settings;
    }());
    QString error;
    application();
    ASSERT_TRUE(instrument.listen(error)) << error.toStdString();
    const auto measured = [](const Host &host) { return host.evaluation && host.evaluation->getPeriodCount() > 50; };
    for (const bool inProcess : {false, true}) {
        for (int order = 0; order < 6; ++order) {
            SCOPED_TRACE(QStringLiteral("order %1 in the process %2").arg(order).arg(inProcess).toStdString());
            Host host;
            host.device->open(inProcess ? QUrl(QStringLiteral("simulator:?speed=0")) : instrument.url());
            ASSERT_TRUE(order == 0 || runUntil([&] { return measured(host); }, 5000)) << host.ended.toStdString();
            switch (order) {
            case 1: // the connection first, what is under way is evaluated to its end
                host.device->close();
                EXPECT_TRUE(host.evaluation->finish());
                break;
            case 2: // the evaluation first, while periods still come
                host.evaluation.reset();
                runUntil([] { return false; }, 20);
                break;
            case 3: // in the middle of connecting again
                if (!inProcess) {
                    instrument.stop();
                    ASSERT_TRUE(runUntil([&] { return host.device->getCounts().interruptions == 1; }));
                    host.device.reset();
                    ASSERT_TRUE(instrument.listen(error)) << error.toStdString();
                }
                break;
            case 4: // the tree first
                host.tree->clear();
                break;
            case 5: // from within what it tells
                host.device->setFlowControl([&] {
                    host.device->close();
                    return false;
                });
                ASSERT_TRUE(runUntil([&] { return !host.device->isConnected(); }));
                break;
            default: // before it is connected, or after
                break;
            }
        }
    }
}

int count(const char *directory)
{
    return int(QDir(QLatin1String(directory)).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size());
}

TEST(LiveMeasurement, AThousandCutConnectionsLeaveNothingBehind)
{
    // One record is opened again and again, and cut in the middle of a message.
    ScriptedInstrument instrument;
    instrument.greeting = ScriptedInstrument::announcement() + ScriptedInstrument::block(0, 0).left(100);
    Host host;
    host.device->open(instrument.url());
    const auto cutUntil = [&](int hosts) {
        return runUntil([&] {
            if (instrument.hosts < hosts && instrument.host && instrument.count("start") > 0)
                instrument.host->abort();
            return instrument.hosts >= hosts && instrument.count("start") > 0;
        });
    };
    ASSERT_TRUE(cutUntil(200)) << host.ended.toStdString();
    const auto settle = [] { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); };
    settle();
    const int descriptors = count("/proc/self/fd"), threads = count("/proc/self/task");
    const auto bytes = mallinfo2().uordblks;
    ASSERT_TRUE(cutUntil(1200)) << host.ended.toStdString();
    settle();
    EXPECT_EQ(host.device->getCounts().interruptions, 1199u);
    EXPECT_EQ(count("/proc/self/fd"), descriptors);
    EXPECT_LE(count("/proc/self/task"), threads);
    EXPECT_LT(double(mallinfo2().uordblks) - double(bytes), 1000 * 1024.0);
}

} // namespace
