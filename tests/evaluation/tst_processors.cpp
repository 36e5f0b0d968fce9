#include "evaluation/processors/device_processor.h"
#include "evaluation/processors/processor_names.h"
#include "evaluation/processors/processors_factory.h"
#include "tests/evaluation/evaluation_tools.h"

#include "entries/entry_names.h"
#include "entries/measurement/voltage_scope.h"
#include "evaluation/processors/qiec_calculator.h"

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
        const bool ofDevice = kind == Names::Voltage || kind == Names::VoltageScope;
        return result(kind, ofDevice ? DeviceName : ChannelName, index, key);
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
        EXPECT_FALSE(processor->evaluate(1, good)) << name.data();
        EXPECT_EQ(store->findEntry(name, ChannelName), nullptr) << "a processor makes no entry";
        const auto entry = store->createEntry(name, ChannelName);
        for (const auto &period : bad)
            EXPECT_FALSE(processor->evaluate(2, period)) << name.data();
        EXPECT_EQ(entry->getCount(), 0u) << name.data();
        EXPECT_TRUE(processor->evaluate(3, good)) << name.data();
        EXPECT_TRUE(entry->getValue(3).isValid()) << name.data();

        store->removeEntry(name, ChannelName);
        EXPECT_FALSE(processor->evaluate(4, PeriodSketch{.amplitudes = {6}}.period())) << name.data();
        const auto again = store->createEntry(name, ChannelName);
        EXPECT_TRUE(processor->evaluate(5, PeriodSketch{.amplitudes = {7}}.period())) << name.data();
        EXPECT_EQ(again->getCount(), 1u) << name.data();
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
        const char *unit;
    };
    const Row rows[] = {
        {{.amplitudes = {100, -300}}, 300.0, "p.u."},
        {{.amplitudes = {500}, .flags = Space2D::PeriodFlagDirty}, 0.0, "p.u."}, // dirty: still a record
        {{}, 0.0, "p.u."},
        {{.amplitudes = {20}, .end = 8000, .pdCalibration = 3.0}, 60.0, "pC"},
        {{.amplitudes = {20}, .end = 8000, .rate = 200000}, 20.0, "p.u."},
    };
    quint64 index = 7;
    for (const Row &row : rows) {
        EXPECT_TRUE(processor->evaluate(++index, row.sketch.period()));
        const double reading = expected.addValue(row.input, double(row.sketch.end) / row.sketch.rate);
        EXPECT_DOUBLE_EQ(held(Names::Qiec, index, Keys::Value).toDouble(), reading) << index;
        EXPECT_EQ(held(Names::Qiec, index, Keys::Unit), QLatin1String(row.unit)) << index;
    }
    tree->write(QStringLiteral("d/channels/3/init_qiec_value"), 1000.0);
    EXPECT_TRUE(processor->evaluate(++index, PeriodSketch().period()));
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
    store->createEntry(Names::Qmax, ChannelName);
    const auto processor = channelProcessor(Names::Qmax);
    EXPECT_FALSE(processor->resetProcessorState(0)) << "nothing to forget";
    struct Row
    {
        std::vector<int> amplitudes;
        std::vector<double> written; // positive, negative, of both
        bool resetAfter = false;
    };
    const Row rows[] = {
        {{}, {}},         {{10, -4}, {10, 4, 10}},
        {{10, -4}, {}},   {{-5}, {10, 5, 10}},
        {{9, -5}, {}},    {{-40}, {10, 40, 40}, true},
        {{2}, {2, 0, 2}}, {{-3, 1}, {2, 3, 3}},
        {{}, {}},         {{0}, {}},
    };
    quint64 index = 0;
    for (const Row &row : rows) {
        EXPECT_TRUE(processor->evaluate(++index, PeriodSketch{.amplitudes = row.amplitudes}.period())) << index;
        std::vector<double> written;
        for (const auto &key : {Keys::AbsoluteMaximumValue, Keys::AbsoluteMinimumValue, Keys::AbsolutePeakValue})
            if (const QVariant value = held(Names::Qmax, index, key); value.isValid())
                written.push_back(value.toDouble());
        EXPECT_EQ(written, row.written) << index;
        EXPECT_TRUE(!row.resetAfter || processor->resetProcessorState(0));
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

TEST_F(ProcessorTest, DisplayedPeriodPartsWhatGatingSuppressed)
{
    store->createEntry(Names::DisplayedPeriod, ChannelName);
    const auto processor = channelProcessor(Names::DisplayedPeriod);
    const auto values = [&](const QString &key) { return held(Names::DisplayedPeriod, 1, key).value<ValueVector>(); };
    const PeriodSketch sketch{.amplitudes = {3, -2}, .gated = {8}, .flags = 4};
    EXPECT_TRUE(processor->evaluate(1, sketch.period(GatingStatus::Marking)));
    EXPECT_EQ(values(Keys::Signal), ValueVector({3, -2, 8}));
    EXPECT_TRUE(values(Keys::GatedSignal).isEmpty());
    EXPECT_TRUE(processor->evaluate(1, sketch.period(GatingStatus::Suppressing)));
    EXPECT_EQ(values(Keys::Signal), ValueVector({3, -2}));
    EXPECT_EQ(values(Keys::Phase), ValueVector({90, 90}));
    EXPECT_EQ(values(Keys::GatedSignal), ValueVector({8}));
    EXPECT_EQ(values(Keys::GatedPhase), ValueVector({180}));
    EXPECT_EQ(values(Keys::GatedV), ValueVector({9}));
    EXPECT_EQ(held(Names::DisplayedPeriod, 1, Keys::Flags).toUInt(), 4u);
}

TEST_F(ProcessorTest, DeviceProcessorsCountTheirScopes)
{
    for (const QLatin1String name : {Names::Voltage, Names::VoltageScope}) {
        auto processor = deviceProcessor(name);
        const auto evaluate = [&] { return processor->evaluate(voltageScope({1, 2})); };
        const auto lastIndex = [&] {
            quint64 index = 99;
            QVariant value;
            return store->findEntry(name, DeviceName)->getLastValue(index, value) ? qint64(index) : -1;
        };
        EXPECT_FALSE(evaluate()) << "no entry";
        store->createEntry(name, DeviceName, GetResultRetention(name));
        EXPECT_FALSE(processor->evaluate(nullptr));
        EXPECT_FALSE(processor->evaluate(voltageScope({})));
        EXPECT_EQ(lastIndex(), -1);
        EXPECT_TRUE(evaluate() && evaluate());
        EXPECT_EQ(lastIndex(), 1) << name.data();
        for (const auto event :
             {DeviceEvaluatorEvent::Started, DeviceEvaluatorEvent::Stopped, DeviceEvaluatorEvent(77)})
            processor->handleEvent(event);
        EXPECT_TRUE(evaluate());
        EXPECT_EQ(lastIndex(), 2) << "other events reset nothing";

        processor = deviceProcessor(name);
        EXPECT_TRUE(evaluate());
        EXPECT_EQ(lastIndex(), 3) << "put in again, it must not write below what is held";
        processor->handleEvent(DeviceEvaluatorEvent::Reset);
        EXPECT_EQ(lastIndex(), -1);
        EXPECT_TRUE(evaluate());
        EXPECT_EQ(lastIndex(), 0) << name.data();
    }
}

} // namespace
