#include "connections/devices/device_health_source.h"
#include "evaluation/evaluators/pd_channel_evaluator.h"
#include "evaluation/evaluators/pd_device_evaluator.h"
#include "evaluation/tasks/device_evaluation_task.h"
#include "evaluation/tasks/monitoring_tasks.h"
#include "evaluation/tasks/qtut_worker.h"
#include "evaluation/tasks/single_channel_evaluation_task.h"
#include "platform/layout_host.h"
#include "tests/evaluation/evaluation_tools.h"

#include "entries/catalogue/results_values.h"
#include "entries/entry_names.h"

#include <QCoreApplication>

#include <atomic>
#include <limits>

using namespace EvaluationTools;
using namespace CommonNOX::Tasks;
using State = SingleChannelEvaluationTask::SingleChannelEvaluationState;

namespace
{

const QString ChannelZero = CommonNOX::GetDataEntryNameForDeviceChannel(QStringLiteral("id"), QStringLiteral("0"));
const QString DeviceName = CommonNOX::GetDataEntryNameForDevice(QStringLiteral("id"));

class TaskTest : public EvaluationTest
{
protected:
    void writeChannel(int channel, const char *key, const QVariant &value) const
    {
        tree->write(QStringLiteral("devices/one/channels/%1/%2").arg(channel).arg(QLatin1String(key)), value);
    }
    void writeDevice(const char *key, const QVariant &value) const
    {
        tree->write(QStringLiteral("devices/one/") + QLatin1String(key), value);
    }
    /// Feeds channel 0 and gives the largest charge that "qmax" saw, or -1 without a record.
    double peakOf(const SingleChannelEvaluationTask &task, quint64 index, const PeriodSketch &sketch) const
    {
        pd->addPeriodBlock(0, index, blockOf({sketch.variant()}));
        EXPECT_TRUE(waitUntilDone(task.getEvaluator()->getEvaluator()));
        const QVariant peak = result(QStringLiteral("qmax"), ChannelZero, index, Keys::AbsoluteMaximumValue);
        return peak.isValid() ? peak.toDouble() : -1.0;
    }

    const std::shared_ptr<CommonNOX::Devices::PdDevice> pd = device(2);
};

TEST_F(TaskTest, ChannelTaskFollowsItsContext)
{
    writeChannel(0, "used_evaluators", QStringLiteral("qmax;nonsense"));
    writeChannel(0, "gating", 3);
    SingleChannelEvaluationTask task(pd, 0);
    EXPECT_EQ(task.getEvaluationState(), State::Disabled);
    EXPECT_EQ(peakOf(task, 0, {.amplitudes = {1}}), -1.0);
    struct Row
    {
        const char *key;
        QVariant value;
        PeriodSketch sketch;
        double peak;
    };
    const Row rows[] = {
        {"enabled", true, {.amplitudes = {10}, .gated = {90}}, 10.0}, // with the gating of the time before
        {"gating", 2, {.amplitudes = {10}, .gated = {90}}, 90.0},
        {"invert", true, {.amplitudes = {-100}}, 100.0},
        {"ignore_corrections", true, {.amplitudes = {-101}, .pdCalibration = 5.0}, 101.0},
        {"used_evaluators", QStringLiteral("frequency;qmax"), {.amplitudes = {-50}}, -1.0}, // qmax is the same one
        {"used_evaluators", QStringLiteral("frequency"), {.amplitudes = {-200}}, -1.0},
        {"used_evaluators", QStringLiteral("qmax"), {.amplitudes = {-50}}, 50.0}, // a fresh one
    };
    quint64 index = 0;
    for (const Row &row : rows) {
        writeChannel(0, row.key, row.value);
        EXPECT_EQ(peakOf(task, ++index, row.sketch), row.peak) << index;
    }
    EXPECT_TRUE(result(QStringLiteral("frequency"), ChannelZero, 5, Keys::Value).isValid());
}

TEST_F(TaskTest, DeviceTaskRunsWhileAnyChannelIsEnabled)
{
    const auto three = device(3, true);
    writeDevice("serial_number", QStringLiteral("SN7"));
    writeDevice("used_evaluators", QStringLiteral("voltage;qiec"));
    SingleChannelEvaluationTask channel(three, 0);
    DeviceEvaluationTask task(three);
    const auto follows = [&](bool zero, bool any) {
        return waitUntil([&] {
            return task.getDeviceEvaluationState() == any && (channel.getEvaluationState() != State::Disabled) == zero;
        });
    };
    EXPECT_TRUE(follows(true, true)) << "as their description says";
    writeChannel(0, "enabled", false);
    writeChannel(1, "enabled", false);
    EXPECT_TRUE(follows(false, true));
    three->addVoltageScope(scopeOf({3, -5}));
    const QString name = CommonNOX::GetDataEntryNameForDevice(QStringLiteral("SN7"));
    EXPECT_TRUE(waitUntil([&] { return result(QStringLiteral("voltage"), name, 0, Keys::Peak).toDouble() == 5.0; }));
    writeChannel(2, "enabled", false);
    EXPECT_TRUE(follows(false, false));
    tree->dropGroup(QStringLiteral("devices/one/channels/0/enabled"));
    EXPECT_TRUE(follows(true, true));
    EXPECT_EQ(store->findEntry(QStringLiteral("qiec"), name), nullptr) << "no device processor";
}

TEST_F(TaskTest, TheLastOfManyWritersWins)
{
    writeChannel(0, "used_evaluators", QStringLiteral("qmax"));
    for (int round = 0; round < 40; ++round) {
        // While the writers end, tasks come: none may keep a value from before.
        std::atomic<bool> go = false;
        std::vector<std::thread> writers;
        for (const auto &[key, before, last] :
             {std::tuple<const char *, QVariant, QVariant>{"gating", 0, 3},
              {"invert", false, true},
              {"enabled", false, true},
              {"used_evaluators", QStringLiteral("frequency"), QStringLiteral("qmax;frequency")}}) {
            writeChannel(0, key, before);
            writers.emplace_back([&, writtenKey = key, value = last] {
                waitUntil([&] { return go.load(); });
                writeChannel(0, writtenKey, value);
            });
        }
        go = true;
        SingleChannelEvaluationTask task(pd, 0);
        for (std::thread &writer : writers)
            writer.join();
        ASSERT_NE(task.getEvaluationState(), State::Disabled) << round;
        ASSERT_EQ(peakOf(task, quint64(round), {.amplitudes = {-8}, .gated = {-90}}), 8.0) << round;
    }
}

TEST_F(TaskTest, TasksGoWhileTheirKeysAreWrittenAndBlocksArrive)
{
    std::atomic<bool> running = true;
    std::thread writing([&] {
        for (int i = 0; running; ++i) {
            writeChannel(i % 2, "enabled", i % 5 != 0);
            writeChannel(i % 2, "gating", i % 4);
            writeChannel(0, "used_evaluators", i % 3 ? QStringLiteral("qiec;qmax") : QStringLiteral("qmax"));
            writeDevice("used_evaluators", i % 3 ? QStringLiteral("voltage") : QString());
            writeChannel(0, "qtut_enabled", i % 4 == 0);
        }
    });
    std::thread feeding([&] {
        for (quint64 index = 0; running; ++index) {
            pd->addPeriodBlock(int(index % 2), index, blockOf(1));
            pd->addVoltageScope(scopeOf({1, 2}));
        }
    });
    for (int round = 0; round < 25; ++round) {
        SingleChannelEvaluationTask first(pd, 0), second(pd, 1);
        DeviceEvaluationTask whole(pd);
        first.getEvaluator()->publishEvaluationProperties();
        std::this_thread::yield();
    }
    running = false;
    writing.join();
    feeding.join();
}

TEST_F(TaskTest, AnObserverMaySwitchTheChannelFromWithinAnEvaluation)
{
    writeChannel(0, "used_evaluators", QStringLiteral("qmax"));
    writeChannel(0, "enabled", true);
    SingleChannelEvaluationTask task(pd, 0);
    DeviceEvaluationTask whole(pd);
    const auto tripping = store->observe([&](const auto &, quint64, const QVariant &) {
        writeChannel(0, "used_evaluators", QStringLiteral("frequency"));
        writeChannel(0, "gating", 3);
        writeChannel(0, "enabled", false);
    });
    pd->addPeriodBlock(0, 0, blockOf({PeriodSketch{.amplitudes = {900}}.variant()}));
    EXPECT_TRUE(waitUntil([&] { return task.getEvaluationState() == State::Disabled; }));
    EXPECT_TRUE(waitUntil([&] { return !whole.getDeviceEvaluationState(); }));
}

TEST_F(TaskTest, OverviewGathersTheLatestReadings)
{
    using namespace CommonNOX::Entries::Results::Space1D;
    SingleChannelEvaluationTask task(pd, 0);
    writeChannel(0, "qtut_overview_timeout", 1);
    writeChannel(0, "qtut_enabled", true);
    const QString overview = QStringLiteral("qt_ut");
    const auto count = [&] {
        const auto entry = store->findEntry(overview, ChannelZero);
        return entry ? int(entry->getCount()) : 0;
    };
    const auto voltage = std::make_shared<VoltageV1>();
    voltage->set(Keys::Rms, 12.5);
    store->createEntry(QStringLiteral("voltage"), DeviceName)->setValue(4, QVariant::fromValue(voltage));
    const auto qiec = store->createEntry(QStringLiteral("qiec"), ChannelZero);
    EXPECT_EQ(count(), 0) << "nothing while a reading is missing";
    const auto charge = std::make_shared<SignalValueV1>();
    charge->set(Keys::Value, 80.0);
    qiec->setValue(9, QVariant::fromValue(charge));
    ASSERT_TRUE(waitUntil([&] { return count() >= 2; }));
    EXPECT_EQ(result(overview, ChannelZero, 1, Keys::Voltage).toDouble(), 12.5);
    EXPECT_EQ(result(overview, ChannelZero, 1, Keys::Qiec).toDouble(), 80.0);

    writeChannel(0, "qtut_enabled", false);
    const int last = count() - 1;
    std::atomic<int> next = -1;
    const auto watching = store->observe([&](const auto &, quint64 index, const QVariant &) {
        int none = -1;
        next.compare_exchange_strong(none, int(index));
    });
    writeChannel(0, "qtut_enabled", true);
    ASSERT_TRUE(waitUntil([&] { return next >= 0; }));
    EXPECT_EQ(next, last + 1) << "goes on where it stopped";
    writeChannel(0, "qtut_enabled", false);
}

/// Notes what the tasks show and hide.
class NotingHost : public Shared::Layout::LayoutHostInterface
{
public:
    void addElement(const QString &kind, const QString &path, Shared::Layout::Orientation) override
    {
        m_notes.append(QStringLiteral("+%1 %2").arg(kind, path));
    }
    void removeElement(const QString &kind, const QString &path) override
    {
        m_notes.append(QStringLiteral("-%1 %2").arg(kind, path));
    }
    std::string take() { return std::exchange(m_notes, {}).join(QLatin1Char('|')).toStdString(); }

private:
    QStringList m_notes;
};

TEST_F(TaskTest, MonitoringTasksShowAndHideElements)
{
    const auto host = std::make_shared<NotingHost>();
    Shared::Layout::InstallLayoutHost(host);
    const auto list = [&](const char *devices) {
        tree->write(QStringLiteral("devices"), QString(QLatin1String(devices)).split(QLatin1Char(' ')));
    };
    list("a b a");
    {
        PDDeviceMonitoringTask task(reader(""));
        EXPECT_EQ(host->take(), "+pd_device a|+pd_device b");
        list("b c");
        EXPECT_EQ(host->take(), "-pd_device a|+pd_device c");
        list("b c");
        EXPECT_EQ(host->take(), "");
    }
    EXPECT_EQ(host->take(), "-pd_device b|-pd_device c");
    {
        PDChannelPatternMonitoringTask task(pd, 1);
        EXPECT_EQ(host->take(), "");
        for (const bool visible : {false, true, true})
            writeChannel(1, "pattern_visible", visible);
        EXPECT_EQ(host->take(), "+pd_pattern devices/one/channels/1");
    }
    EXPECT_EQ(host->take(), "-pd_pattern devices/one/channels/1");
    Shared::Layout::InstallLayoutHost(nullptr);
    PDDeviceMonitoringTask withoutUserInterface(reader(""));
    list("d");
    EXPECT_EQ(host->take(), "");
}

class Thermometer : public CommonNOX::Devices::DeviceHealthSource
{
public:
    bool readTemperature(double &value) override
    {
        value = temperature;
        return tells;
    }
    bool readGpio(quint32 &value) override
    {
        value = levels;
        return tells;
    }
    double temperature = 41.5;
    quint32 levels = 0x80000001u;
    bool tells = true;
};

TEST_F(TaskTest, HealthIsPublishedByTimer)
{
    int argumentCount = 1;
    char program[] = "tst";
    char *arguments[] = {program, nullptr};
    QCoreApplication application(argumentCount, arguments);
    const auto source = std::make_shared<Thermometer>();
    DeviceTemperatureMonitoringTask temperature(pd, 1);
    DeviceGPIOMonitoringTask gpio(pd, 1);
    const auto stands = [&](const QVariant &degrees, const QVariant &levels) {
        return tree->read(QStringLiteral("devices/one/temperature")) == degrees &&
               tree->read(QStringLiteral("devices/one/gpio")) == levels;
    };
    temperature.onRefreshTemperature();
    gpio.onRefreshGPIO();
    EXPECT_TRUE(stands({}, {})) << "nobody tells";

    pd->setHealthSource(source);
    EXPECT_TRUE(waitUntil([&] {
        QCoreApplication::processEvents();
        return stands(41.5, 0x80000001u);
    }));
    source->temperature = std::numeric_limits<double>::quiet_NaN();
    temperature.onRefreshTemperature();
    source->tells = false;
    source->levels = 5;
    gpio.onRefreshGPIO();
    EXPECT_TRUE(stands(41.5, 0x80000001u));
}

} // namespace
