#include "evaluation/processors/device_processor.h"
#include "evaluation/processors/processor_names.h"
#include "evaluation/processors/processors_factory.h"
#include "evaluation/tasks/processor_set.h"
#include "tests/evaluation/evaluation_tools.h"

#include "entries/entry_names.h"
#include "entries/measurement/voltage_scope.h"
#include "evaluation/processors/qiec_calculator.h"

#include <cmath>
#include <stdexcept>

using namespace EvaluationTools;
using namespace CommonNOX::Evaluation;
using namespace CommonNOX::Evaluation::Processors;
using CommonNOX::Entries::ValueVector;

namespace
{

const QString ChannelName = CommonNOX::GetDataEntryNameForDeviceChannel(QStringLiteral("id"), QStringLiteral("3"));
const QString DeviceName = CommonNOX::GetDataEntryNameForDevice(QStringLiteral("id"));

class ProcessorTest : public EvaluationTest
{
protected:
    std::shared_ptr<AbstractSingleChannelProcessor> channelProcessor(const QString &name) const
    {
        const SingleChannelProcessorFactory &factory = ProcessorsFactory::getInstance();
        return factory.createProduct(name, reader("d"), reader("d/channels/3"), name, QStringLiteral("id"), 3u);
    }
    std::shared_ptr<AbstractDeviceProcessor> deviceProcessor(const QString &name) const
    {
        const DeviceProcessorFactory &factory = ProcessorsFactory::getInstance();
        return factory.createProduct(name, reader("d"), name, QStringLiteral("id"));
    }
    QVariant held(QLatin1String kind, quint64 index, const QString &key) const
    {
        return result(kind, kind == Names::Voltage || kind == Names::VoltageScope ? DeviceName : ChannelName, index,
                      key);
    }
};

std::shared_ptr<const CommonNOX::Data::VoltageScope> voltageScope(const QVector<qint32> &samples,
                                                                  double calibration = 0.0)
{
    const auto scope = std::make_shared<CommonNOX::Data::VoltageScope>();
    EXPECT_EQ(scope->preProcess(scopeOf(samples, calibration)), !samples.isEmpty());
    return scope;
}

TEST_F(ProcessorTest, ChannelProcessorsWaitForTheirEntry)
{
    const auto good = PeriodSketch{.amplitudes = {5}}.period();
    const std::shared_ptr<const Period> bad[] = {nullptr, std::make_shared<Period>(), PeriodSketch{.end = 0}.period(),
                                                 PeriodSketch{.rate = 0}.period()};
    for (const QLatin1String name : {Names::Qiec, Names::Qmax, Names::Frequency, Names::DisplayedPeriod}) {
        const auto processor = channelProcessor(name);
        ASSERT_NE(processor, nullptr) << name.data();
        const auto *base = dynamic_cast<const BaseProcessor *>(processor.get());
        EXPECT_FALSE(base->isReady());
        EXPECT_FALSE(processor->evaluate(1, good)) << name.data();
        EXPECT_EQ(store->findEntry(name, ChannelName), nullptr) << "a processor makes no entry";

        const auto entry = store->createEntry(name, ChannelName);
        EXPECT_TRUE(base->isReady());
        for (const auto &period : bad)
            EXPECT_FALSE(processor->evaluate(2, period)) << name.data();
        EXPECT_EQ(entry->getCount(), 0u) << name.data();
        EXPECT_TRUE(processor->evaluate(3, good)) << name.data();
        EXPECT_TRUE(entry->getValue(3).isValid()) << name.data();

        store->removeEntry(name, ChannelName);
        EXPECT_FALSE(processor->evaluate(4, PeriodSketch{.amplitudes = {6}}.period())) << name.data();
        store->createEntry(name, ChannelName);
        EXPECT_TRUE(processor->evaluate(5, PeriodSketch{.amplitudes = {7}}.period())) << name.data();
        EXPECT_FALSE(held(name, 4, Keys::Unit).isValid());
    }
}

TEST_F(ProcessorTest, ReadingsCarryTheUnitOfThePeriod)
{
    struct Row
    {
        PeriodSketch sketch;
        const char *unit;
    };
    const Row rows[] = {{{.amplitudes = {1}}, "p.u."},
                        {{.amplitudes = {1, -2}, .pdCalibration = 2.0}, "pC"},
                        {{.amplitudes = {50}, .flags = Space2D::PeriodFlagMillivolts, .pdCalibration = 2.0}, "mV"}};
    for (const QLatin1String name : {Names::Qiec, Names::Qmax}) {
        store->createEntry(name, ChannelName);
        const auto processor = channelProcessor(name);
        quint64 index = 0;
        for (const Row &row : rows) {
            EXPECT_TRUE(processor->evaluate(++index, row.sketch.period()));
            EXPECT_EQ(held(name, index, Keys::Unit), QLatin1String(row.unit)) << name.data();
        }
    }
}

TEST_F(ProcessorTest, QiecStepsByTheLengthOfEachPeriod)
{
    store->createEntry(Names::Qiec, ChannelName);
    tree->write(QStringLiteral("d/channels/3/qiec_tau2"), 0.2);
    tree->write(QStringLiteral("d/channels/3/init_qiec_value"), 12.0);
    const auto processor = channelProcessor(Names::Qiec);
    Calculation::QiecCalculator expected({}, {}, 12.0);
    expected.updateTau2(0.2);
    struct Row
    {
        PeriodSketch sketch;
        double input;
    };
    const Row rows[] = {
        {{.amplitudes = {100, -300}}, 300.0},
        {{.amplitudes = {500}, .flags = Space2D::PeriodFlagDirty}, 0.0}, // dirty: still a record
        {{}, 0.0},
        {{.amplitudes = {20}, .end = 8000, .pdCalibration = 3.0}, 60.0},
        {{.amplitudes = {20}, .end = 8000, .rate = 200000}, 20.0},
    };
    quint64 index = 7;
    for (const Row &row : rows) {
        EXPECT_TRUE(processor->evaluate(index, row.sketch.period()));
        const double reading = expected.addValue(row.input, double(row.sketch.end) / row.sketch.rate);
        EXPECT_DOUBLE_EQ(held(Names::Qiec, index, Keys::Value).toDouble(), reading) << index;
        ++index;
    }
    tree->write(QStringLiteral("d/channels/3/init_qiec_value"), 1000.0);
    EXPECT_TRUE(processor->evaluate(index, PeriodSketch().period()));
    EXPECT_GT(held(Names::Qiec, index, Keys::Value).toDouble(), 900.0) << "reset at the next step";
    EXPECT_FALSE(processor->resetProcessorState(0));
}

TEST_F(ProcessorTest, AFailingObserverFailsTheEvaluationAlone)
{
    store->createEntry(Names::Qiec, ChannelName);
    store->createEntry(Names::Voltage, DeviceName);
    const auto qiec = channelProcessor(Names::Qiec);
    const auto voltage = deviceProcessor(Names::Voltage);
    const auto period = PeriodSketch{.amplitudes = {100}}.period();
    Calculation::QiecCalculator expected({}, {}, 0.0);
    expected.addValue(100.0, 0.02);
    {
        const auto failing =
            store->observe([](const auto &, quint64, const QVariant &) { throw std::runtime_error("disk full"); });
        EXPECT_FALSE(qiec->evaluate(0, period));
        EXPECT_FALSE(voltage->evaluate(voltageScope({1, 2})));
    }
    // The filter has taken its step already: the next period's step is its own length, not both.
    EXPECT_TRUE(qiec->evaluate(1, period));
    EXPECT_DOUBLE_EQ(held(Names::Qiec, 1, Keys::Value).toDouble(), expected.addValue(100.0, 0.02));
    EXPECT_TRUE(voltage->evaluate(voltageScope({3, 4})));
    EXPECT_DOUBLE_EQ(held(Names::Voltage, 0, Keys::Peak).toDouble(), 4.0) << "the failed scope has no index";
}

TEST_F(ProcessorTest, QmaxWritesWhatGrows)
{
    const auto entry = store->createEntry(Names::Qmax, ChannelName);
    const auto processor = channelProcessor(Names::Qmax);
    EXPECT_FALSE(processor->resetProcessorState(0)) << "nothing to forget";
    struct Row
    {
        std::vector<int> amplitudes;
        bool written;
        double positive;
        double negative;
        bool resetAfter;
    };
    const Row rows[] = {
        {{}, false, 0, 0, false},   {{10, -4}, true, 10, 4, false}, {{10, -4}, false, 0, 0, false},
        {{-5}, true, 10, 5, false}, {{9, -5}, false, 0, 0, false},  {{30, -1}, true, 30, 5, true},
        {{2}, true, 2, 0, false},   {{-3, 1}, true, 2, 3, true},    {{}, false, 0, 0, false},
        {{0}, false, 0, 0, false},  {{-1}, true, 0, 1, true},       {{1}, true, 1, 0, false},
    };
    quint64 index = 0;
    for (const Row &row : rows) {
        ++index;
        EXPECT_TRUE(processor->evaluate(index, PeriodSketch{.amplitudes = row.amplitudes}.period())) << index;
        ASSERT_EQ(entry->getValue(index).isValid(), row.written) << index;
        if (row.written) {
            EXPECT_EQ(held(Names::Qmax, index, Keys::AbsoluteMaximumValue).toDouble(), row.positive) << index;
            EXPECT_EQ(held(Names::Qmax, index, Keys::AbsoluteMinimumValue).toDouble(), row.negative) << index;
            EXPECT_EQ(held(Names::Qmax, index, Keys::AbsolutePeakValue).toDouble(),
                      std::max(row.positive, row.negative));
        }
        if (row.resetAfter) {
            EXPECT_TRUE(processor->resetProcessorState(0)) << index;
        }
    }
}

TEST_F(ProcessorTest, QmaxMayBeResetFromAnotherThread)
{
    const auto entry = store->createEntry(Names::Qmax, ChannelName);
    const auto processor = channelProcessor(Names::Qmax);
    const auto period = PeriodSketch{.amplitudes = {5, -6}}.period();
    std::atomic<bool> evaluating = true;
    std::thread resetter([&] {
        while (evaluating)
            processor->resetProcessorState(0);
    });
    for (quint64 index = 0; index < 2000; ++index)
        ASSERT_TRUE(processor->evaluate(index, period));
    evaluating = false;
    resetter.join();
    for (const auto &[index, value] : entry->getValues(0, 2000))
        ASSERT_EQ(held(Names::Qmax, index, Keys::AbsolutePeakValue).toDouble(), 6.0);
}

TEST_F(ProcessorTest, FrequencyIsTheInverseOfTheLength)
{
    store->createEntry(Names::Frequency, ChannelName);
    const auto processor = channelProcessor(Names::Frequency);
    EXPECT_TRUE(processor->evaluate(0, PeriodSketch().period()));
    EXPECT_TRUE(processor->evaluate(1, PeriodSketch{.start = -600, .end = 400, .rate = 60000}.period()));
    EXPECT_DOUBLE_EQ(held(Names::Frequency, 0, Keys::Value).toDouble(), 50.0);
    EXPECT_DOUBLE_EQ(held(Names::Frequency, 1, Keys::Value).toDouble(), 60.0);
    EXPECT_EQ(held(Names::Frequency, 1, Keys::Unit), QLatin1String("Hz"));
}

TEST_F(ProcessorTest, DisplayedPeriodPartsWhatGatingSuppressed)
{
    store->createEntry(Names::DisplayedPeriod, ChannelName);
    const auto processor = channelProcessor(Names::DisplayedPeriod);
    const PeriodSketch sketch{.amplitudes = {3, -2}, .gated = {8}, .flags = 4};
    struct Row
    {
        GatingStatus gating;
        ValueVector signal;
        ValueVector gated;
    };
    for (const Row &row : {Row{GatingStatus::Off, {3, -2, 8}, {}}, Row{GatingStatus::Marking, {3, -2, 8}, {}},
                           Row{GatingStatus::Suppressing, {3, -2}, {8}}}) {
        EXPECT_TRUE(processor->evaluate(1, sketch.period(row.gating)));
        EXPECT_EQ(held(Names::DisplayedPeriod, 1, Keys::Signal).value<ValueVector>(), row.signal);
        EXPECT_EQ(held(Names::DisplayedPeriod, 1, Keys::GatedSignal).value<ValueVector>(), row.gated);
        EXPECT_EQ(held(Names::DisplayedPeriod, 1, Keys::GatedPhase).value<ValueVector>().size(), row.gated.size());
    }
    EXPECT_EQ(held(Names::DisplayedPeriod, 1, Keys::Phase).value<ValueVector>(), ValueVector({90, 90}));
    EXPECT_EQ(held(Names::DisplayedPeriod, 1, Keys::GatedV).value<ValueVector>(), ValueVector({9}));
    EXPECT_EQ(held(Names::DisplayedPeriod, 1, Keys::Flags).toUInt(), 4u);
}

TEST_F(ProcessorTest, DeviceProcessorsCountTheirScopes)
{
    for (const QLatin1String name : {Names::Voltage, Names::VoltageScope}) {
        auto processor = deviceProcessor(name);
        EXPECT_FALSE(processor->evaluate(voltageScope({1}))) << "no entry";
        auto entry = store->createEntry(name, DeviceName, GetResultRetention(name));
        EXPECT_FALSE(processor->evaluate(nullptr));
        EXPECT_FALSE(processor->evaluate(voltageScope({})));
        const auto lastIndex = [&] {
            quint64 index = 99;
            QVariant value;
            return store->findEntry(name, DeviceName)->getLastValue(index, value) ? qint64(index) : -1;
        };
        EXPECT_EQ(lastIndex(), -1);
        for (int i = 0; i < 3; ++i)
            EXPECT_TRUE(processor->evaluate(voltageScope({1, 2})));
        EXPECT_EQ(lastIndex(), 2) << name.data();
        for (const auto event :
             {DeviceEvaluatorEvent::Started, DeviceEvaluatorEvent::Stopped, DeviceEvaluatorEvent(77)})
            processor->handleEvent(event);
        EXPECT_TRUE(processor->evaluate(voltageScope({1, 2})));
        EXPECT_EQ(lastIndex(), 3) << "other events reset nothing";

        processor = deviceProcessor(name);
        EXPECT_TRUE(processor->evaluate(voltageScope({1, 2})));
        EXPECT_EQ(lastIndex(), 4) << "put in again, it must not write below what is held";
        processor->handleEvent(DeviceEvaluatorEvent::Reset);
        EXPECT_EQ(lastIndex(), -1);
        EXPECT_TRUE(processor->evaluate(voltageScope({6})));
        EXPECT_EQ(lastIndex(), 0) << name.data();
    }
}

TEST_F(ProcessorTest, VoltageResultsAreThoseOfTheScope)
{
    QVector<qint32> samples; // five cycles of 50 Hz at 5 kHz
    for (int i = 0; i < 500; ++i)
        samples.append(qint32(std::lround(1000000.0 * std::sin(2.0 * M_PI * (i + 0.5) / 100.0))));
    for (const QLatin1String name : {Names::Voltage, Names::VoltageScope}) {
        store->createEntry(name, DeviceName);
        EXPECT_TRUE(deviceProcessor(name)->evaluate(voltageScope(samples, 1e-5)));
    }
    EXPECT_NEAR(held(Names::Voltage, 0, Keys::Rms).toDouble(), 10.0 / std::sqrt(2.0), 1e-5);
    EXPECT_NEAR(held(Names::Voltage, 0, Keys::Peak).toDouble(), 10.0, 1e-2);
    EXPECT_EQ(held(Names::Voltage, 0, Keys::Unit), QLatin1String("kV"));
    EXPECT_NEAR(held(Names::VoltageScope, 0, Keys::Frequency).toDouble(), 50.0, 1e-6);
    EXPECT_NEAR(held(Names::VoltageScope, 0, Keys::PeakPeakValue).toDouble(), 20.0, 2e-2);
    EXPECT_DOUBLE_EQ(held(Names::VoltageScope, 0, Keys::Resolution).toDouble(), 0.2);
    EXPECT_EQ(held(Names::VoltageScope, 0, Keys::VoltageSamples).value<ValueVector>().size(), 500);
    EXPECT_TRUE(deviceProcessor(Names::Voltage)->evaluate(voltageScope({-3, 1})));
    EXPECT_EQ(held(Names::Voltage, 1, Keys::Unit), QLatin1String("p.u."));
    EXPECT_DOUBLE_EQ(held(Names::Voltage, 1, Keys::Peak).toDouble(), 3.0);
}

TEST_F(ProcessorTest, KnowsAReplayDevice)
{
    const auto processor = std::dynamic_pointer_cast<DeviceProcessor>(deviceProcessor(Names::Voltage));
    EXPECT_FALSE(processor->isReplayDevice());
    tree->write(QStringLiteral("d/is_replay_device"), true);
    EXPECT_TRUE(processor->isReplayDevice());
    EXPECT_EQ(processor->getDeviceIdentification(), QLatin1String("id"));
}

TEST_F(ProcessorTest, SetsKeepTheProcessorsWhoseNamesStay)
{
    auto set =
        CommonNOX::Tasks::MakeSingleChannelProcessorSet(reader("d"), reader("d/channels/3"), QStringLiteral("id"), 3);
    QStringList unknown;
    EXPECT_TRUE(set.setNames(SplitProcessorNames(QStringLiteral("qiec;;qmax;voltage;nonsense")), &unknown));
    EXPECT_EQ(set.getNames(), QStringList({Names::Qiec, Names::Qmax}));
    EXPECT_EQ(unknown, QStringList({QStringLiteral("voltage"), QStringLiteral("nonsense")}));
    EXPECT_NE(store->findEntry(Names::Qiec, ChannelName), nullptr);
    const auto both = set.getProcessors();
    EXPECT_FALSE(set.setNames({Names::Qiec, Names::Qmax, QStringLiteral("nonsense")}));

    EXPECT_TRUE(set.setNames({Names::Qmax}));
    EXPECT_EQ(set.getProcessors(), decltype(both)({both[1]}));
    EXPECT_TRUE(set.setNames({Names::Qmax, Names::Qiec}));
    EXPECT_EQ(set.getProcessors()[0], both[1]);
    EXPECT_NE(set.getProcessors()[1], both[0]) << "a fresh one";
    EXPECT_TRUE(set.setNames({}));
    EXPECT_TRUE(set.getProcessors().isEmpty());
}

TEST_F(ProcessorTest, AnyThreadMayAskWhetherOneIsReady)
{
    store->createEntry(Names::Frequency, ChannelName);
    for (int round = 0; round < 50; ++round) {
        const auto processor = channelProcessor(Names::Frequency);
        std::thread asking([&] { EXPECT_TRUE(dynamic_cast<const BaseProcessor &>(*processor).isReady()); });
        EXPECT_TRUE(processor->evaluate(1, PeriodSketch().period()));
        asking.join();
    }
}

} // namespace
