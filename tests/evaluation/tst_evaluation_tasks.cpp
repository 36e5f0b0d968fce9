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
    /// Feeds the period and gives the largest charge that "qmax" saw, or -1 without a record.
    double peakOf(CommonNOX::Devices::PdDevice &pd, const SingleChannelEvaluationTask &task, quint64 index,
                  const PeriodSketch &sketch) const
    {
        pd.addPeriodBlock(0, index, blockOf({sketch.variant()}));
        EXPECT_TRUE(waitUntil([&] { return task.getEvaluator()->getEvaluator().getProgress().pending == 0; }));
        const QVariant peak = result(QStringLiteral("qmax"), ChannelZero, index, Keys::AbsoluteMaximumValue);
        return peak.isValid() ? peak.toDouble() : -1.0;
    }
};

TEST_F(TaskTest, ChannelTaskFollowsItsContext)
{
    const auto pd = device(1);
    writeChannel(0, "used_evaluators", QStringLiteral("qmax;nonsense"));
    writeChannel(0, "gating", 3);
    SingleChannelEvaluationTask task(pd, 0);
    EXPECT_EQ(task.getEvaluationState(), State::Disabled);
    EXPECT_EQ(peakOf(*pd, task, 0, {.amplitudes = {1}}), -1.0);
    writeChannel(0, "enabled", true);
    EXPECT_EQ(task.getEvaluationState(), State::Idle);
    EXPECT_EQ(peakOf(*pd, task, 1, {.amplitudes = {10}, .gated = {90}}), 10.0) << "gating of the time before";
    writeChannel(0, "gating", 2);
    EXPECT_EQ(peakOf(*pd, task, 2, {.amplitudes = {10}, .gated = {90}}), 90.0);
    writeChannel(0, "invert", true);
    EXPECT_EQ(peakOf(*pd, task, 3, {.amplitudes = {-100}}), 100.0);
    writeChannel(0, "ignore_corrections", true);
    EXPECT_EQ(peakOf(*pd, task, 4, {.amplitudes = {-101}, .pdCalibration = 5.0}), 101.0);
    writeChannel(0, "used_evaluators", QStringLiteral("frequency;qmax"));
    EXPECT_EQ(peakOf(*pd, task, 5, {.amplitudes = {-50}}), -1.0) << "qmax has kept its maxima";
    EXPECT_TRUE(result(QStringLiteral("frequency"), ChannelZero, 5, Keys::Value).isValid());
    writeChannel(0, "used_evaluators", QStringLiteral("frequency"));
    EXPECT_EQ(peakOf(*pd, task, 6, {.amplitudes = {-200}}), -1.0);
    writeChannel(0, "used_evaluators", QStringLiteral("qmax"));
    EXPECT_EQ(peakOf(*pd, task, 7, {.amplitudes = {-50}}), 50.0) << "a fresh one";
    writeChannel(0, "enabled", false);
    EXPECT_TRUE(waitUntil([&] { return task.getEvaluationState() == State::Disabled; }));
}

TEST_F(TaskTest, AChannelIsEnabledAsItsDescriptionSaysUntilToldOtherwise)
{
    const auto pd = device(1, true);
    SingleChannelEvaluationTask channel(pd, 0);
    DeviceEvaluationTask whole(pd);
    EXPECT_NE(channel.getEvaluationState(), State::Disabled);
    EXPECT_TRUE(whole.getDeviceEvaluationState());
    writeChannel(0, "enabled", false);
    EXPECT_TRUE(waitUntil([&] { return channel.getEvaluationState() == State::Disabled; }));
    EXPECT_TRUE(waitUntil([&] { return !whole.getDeviceEvaluationState(); }));
    tree->dropGroup(QStringLiteral("devices/one/channels/0/enabled"));
    EXPECT_NE(channel.getEvaluationState(), State::Disabled);
    EXPECT_TRUE(whole.getDeviceEvaluationState());
}

TEST_F(TaskTest, DeviceTaskRunsWhileAnyChannelIsEnabled)
{
    const auto pd = device(3);
    writeDevice("serial_number", QStringLiteral("SN7"));
    writeDevice("used_evaluators", QStringLiteral("voltage;qiec"));
    DeviceEvaluationTask task(pd);
    EXPECT_FALSE(task.getDeviceEvaluationState());
    struct Row
    {
        int channel;
        bool enabled;
        bool running;
    };
    for (const Row &row :
         {Row{1, true, true}, Row{2, true, true}, Row{1, false, true}, Row{2, false, false}, Row{0, true, true}}) {
        writeChannel(row.channel, "enabled", row.enabled);
        EXPECT_TRUE(waitUntil([&] { return task.getDeviceEvaluationState() == row.running; })) << row.channel;
    }
    pd->addVoltageScope(scopeOf({3, -5}));
    const QString name = CommonNOX::GetDataEntryNameForDevice(QStringLiteral("SN7"));
    EXPECT_TRUE(waitUntil([&] { return result(QStringLiteral("voltage"), name, 0, Keys::Peak).toDouble() == 5.0; }));
    EXPECT_EQ(store->findEntry(QStringLiteral("qiec"), name), nullptr) << "no device processor";
}

TEST_F(TaskTest, TheLastOfManyWritersWins)
{
    const auto pd = device(1);
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
        ASSERT_EQ(peakOf(*pd, task, quint64(round), {.amplitudes = {-8}, .gated = {-90}}), 8.0) << round;
    }
}

TEST_F(TaskTest, TasksGoWhileTheirKeysAreWrittenAndBlocksArrive)
{
    const auto pd = device(2);
    std::atomic<bool> running = true;
    std::vector<std::thread> threads;
    for (int seed = 0; seed < 2; ++seed) {
        threads.emplace_back([&, seed] {
            for (int i = seed; running; ++i) {
                writeChannel(i % 2, "enabled", i % 5 != 0);
                writeChannel(i % 2, "gating", i % 4);
                writeChannel(0, "used_evaluators", i % 3 ? QStringLiteral("qiec;qmax") : QStringLiteral("qmax"));
                writeDevice("used_evaluators", i % 3 ? QStringLiteral("voltage") : QString());
                writeChannel(0, "qtut_enabled", i % 4 == 0);
            }
        });
    }
    threads.emplace_back([&] {
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
    for (std::thread &thread : threads)
        thread.join();
}

TEST_F(TaskTest, AnObserverMaySwitchTheChannelFromWithinAnEvaluation)
{
    const auto pd = device(1, true);
    writeChannel(0, "used_evaluators", QStringLiteral("qmax"));
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
    const auto pd = device(1);
    SingleChannelEvaluationTask task(pd, 0);
    writeChannel(0, "qtut_overview_timeout", 1);
    writeChannel(0, "qtut_enabled", true);
    const auto overview = [&] { return store->findEntry(QStringLiteral("qt_ut"), ChannelZero); };
    const auto voltage = std::make_shared<CommonNOX::Entries::Results::Space1D::VoltageV1>();
    voltage->set(Keys::Rms, 12.5);
    store->createEntry(QStringLiteral("voltage"), DeviceName)->setValue(4, QVariant::fromValue(voltage));
    store->createEntry(QStringLiteral("qiec"), ChannelZero);
    EXPECT_EQ(overview(), nullptr) << "nothing while a reading is missing";
    const auto charge = std::make_shared<CommonNOX::Entries::Results::Space1D::SignalValueV1>();
    charge->set(Keys::Value, 80.0);
    store->findEntry(QStringLiteral("qiec"), ChannelZero)->setValue(9, QVariant::fromValue(charge));
    ASSERT_TRUE(waitUntil([&] { return overview() && overview()->getCount() >= 2; }));
    EXPECT_EQ(result(QStringLiteral("qt_ut"), ChannelZero, 1, Keys::Voltage).toDouble(), 12.5);
    EXPECT_EQ(result(QStringLiteral("qt_ut"), ChannelZero, 1, Keys::Qiec).toDouble(), 80.0);

    writeChannel(0, "qtut_enabled", false);
    quint64 last = 0;
    QVariant value;
    ASSERT_TRUE(overview()->getLastValue(last, value));
    std::atomic<qint64> next = -1;
    const auto watching = store->observe([&](const auto &, quint64 index, const QVariant &) {
        qint64 none = -1;
        next.compare_exchange_strong(none, qint64(index));
    });
    writeChannel(0, "qtut_enabled", true);
    ASSERT_TRUE(waitUntil([&] { return next >= 0; }));
    EXPECT_EQ(next, qint64(last) + 1) << "goes on where it stopped";
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
    QStringList take() { return std::exchange(m_notes, {}); }

private:
    QStringList m_notes;
};

TEST_F(TaskTest, MonitoringTasksShowAndHideElements)
{
    const auto host = std::make_shared<NotingHost>();
    Shared::Layout::InstallLayoutHost(host);
    const auto list = [&](const QStringList &devices) { tree->write(QStringLiteral("devices"), devices); };
    const auto lines = [](std::initializer_list<const char *> texts) {
        QStringList result;
        for (const char *text : texts)
            result.append(QLatin1String(text));
        return result;
    };
    list(lines({"a", "b", "a"}));
    {
        PDDeviceMonitoringTask task(reader(""));
        EXPECT_EQ(host->take(), lines({"+pd_device a", "+pd_device b"}));
        list(lines({"b", "c"}));
        EXPECT_EQ(host->take(), lines({"-pd_device a", "+pd_device c"}));
        list(lines({"b", "c"}));
        EXPECT_EQ(host->take(), QStringList());
    }
    EXPECT_EQ(host->take(), lines({"-pd_device b", "-pd_device c"}));
    list({});
    {
        PDChannelPatternMonitoringTask task(device(2), 1);
        EXPECT_EQ(host->take(), QStringList());
        for (const bool visible : {false, true, true})
            writeChannel(1, "pattern_visible", visible);
        EXPECT_EQ(host->take(), lines({"+pd_pattern devices/one/channels/1"}));
    }
    EXPECT_EQ(host->take(), lines({"-pd_pattern devices/one/channels/1"}));
    Shared::Layout::InstallLayoutHost(nullptr);
    PDDeviceMonitoringTask withoutUserInterface(reader(""));
    list(lines({"d"}));
    EXPECT_EQ(host->take(), QStringList());
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
    const auto pd = device(1);
    const auto source = std::make_shared<Thermometer>();
    DeviceTemperatureMonitoringTask temperature(pd, 1);
    DeviceGPIOMonitoringTask gpio(pd, 1);
    const auto value = [&](const char *key) { return tree->read(QStringLiteral("devices/one/") + QLatin1String(key)); };
    temperature.onRefreshTemperature();
    gpio.onRefreshGPIO();
    EXPECT_FALSE(value("temperature").isValid()) << "nobody tells";

    pd->setHealthSource(source);
    ASSERT_TRUE(waitUntil([&] {
        QCoreApplication::processEvents();
        return value("temperature").isValid() && value("gpio").isValid();
    }));
    EXPECT_EQ(value("temperature").toDouble(), 41.5);
    EXPECT_EQ(value("gpio").toUInt(), 0x80000001u);

    source->temperature = std::numeric_limits<double>::quiet_NaN();
    temperature.onRefreshTemperature();
    source->tells = false;
    source->levels = 5;
    gpio.onRefreshGPIO();
    EXPECT_EQ(value("temperature").toDouble(), 41.5);
    EXPECT_EQ(value("gpio").toUInt(), 0x80000001u);
}

} // namespace
