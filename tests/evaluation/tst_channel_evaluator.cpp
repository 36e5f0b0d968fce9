#include "evaluation/evaluators/pd_channel_evaluator.h"
#include "evaluation/evaluators/single_channel_evaluator.h"
#include "evaluation/tasks/single_channel_evaluation_task.h"
#include "tests/evaluation/evaluation_tools.h"

#include "entries/entry_names.h"
#include "evaluation/processors/qiec_calculator.h"

#include <deque>
#include <numeric>

using namespace EvaluationTools;
using namespace CommonNOX::Evaluation;
using CommonNOX::Evaluation::Evaluators::EvaluationProgress;
using CommonNOX::Evaluation::Evaluators::SingleChannelEvaluator;

namespace
{

using Gate = std::shared_ptr<GateProcessor>;

std::vector<quint64> range(quint64 first, std::size_t count)
{
    std::vector<quint64> indices(count);
    std::iota(indices.begin(), indices.end(), first);
    return indices;
}

/// An evaluator with processors to come and go.
class ChannelEvaluator : public ::testing::Test
{
protected:
    const Gate one = std::make_shared<GateProcessor>(), two = std::make_shared<GateProcessor>(),
               three = std::make_shared<GateProcessor>(), four = std::make_shared<GateProcessor>();
    SingleChannelEvaluator evaluator;
};

TEST_F(ChannelEvaluator, HandsEveryPeriodToEveryProcessorInOrder)
{
    EXPECT_FALSE(evaluator.addNewReceivedPeriod(0, blockOf(1))) << "never enabled";
    evaluator.processorListChanged({one, nullptr, two});
    evaluator.enableEvaluation(true);
    evaluator.enableEvaluation(true);
    EXPECT_FALSE(evaluator.addNewReceivedPeriod(0, nullptr));
    EXPECT_FALSE(evaluator.addNewReceivedPeriod(0, blockOf(0)));
    quint64 index = 5;
    for (int block = 0; block < 200; ++block) {
        const int count = 1 + block % 4;
        ASSERT_TRUE(evaluator.addNewReceivedPeriod(index, blockOf(count)));
        index += quint64(count);
        if (block % 50 == 0) {
            ASSERT_TRUE(waitUntilDone(evaluator));
            ASSERT_EQ(one->indices().size(), std::size_t(index - 5)) << "pending 0: evaluated by all";
            ASSERT_EQ(two->indices().size(), std::size_t(index - 5));
        }
    }
    ASSERT_TRUE(waitUntilDone(evaluator));
    EXPECT_EQ(one->indices(), range(5, std::size_t(index - 5)));
    EXPECT_EQ(two->indices(), one->indices());
    evaluator.enableEvaluation(false);
    evaluator.waitForEnd();
    EXPECT_FALSE(evaluator.addNewReceivedPeriod(index, blockOf(1)));
    EXPECT_EQ(evaluator.getProgress().accepted, index - 5) << "what was refused does not count";
    EXPECT_EQ(evaluator.getProgress().dropped, 0u);
}

TEST_F(ChannelEvaluator, DropsWhatIsNoPeriod)
{
    evaluator.processorListChanged({one});
    evaluator.enableEvaluation(true);
    const QVariantList entries{
        PeriodSketch().variant(),
        PeriodSketch{.start = 2000, .end = 0}.variant(), // its length is not 0, so it would pass as valid
        PeriodSketch{.rate = 0}.variant(),
        PeriodSketch{.end = 0}.variant(),
        QVariant(),
        QVariant::fromValue(std::shared_ptr<const Space2D::PeriodV2>()),
        QStringLiteral("no period"),
        QVariant::fromValue(blockOf(1)),
        PeriodSketch().variant<Space2D::PeriodV1>(),
    };
    EXPECT_TRUE(evaluator.addNewReceivedPeriod(100, blockOf(entries)));
    ASSERT_TRUE(waitUntilDone(evaluator));
    EXPECT_EQ(one->indices(), (std::vector<quint64>{100, 108}));
    EXPECT_EQ(evaluator.getProgress().dropped, 7u);
}

TEST_F(ChannelEvaluator, BuildsPeriodsAsItWasTold)
{
    evaluator.processorListChanged({one});
    evaluator.enableEvaluation(true);
    evaluator.setGatingStatus(GatingStatus::Suppressing);
    evaluator.setBuildingOptions({.invert = true, .phaseOffset = 30.0, .phaseSpan = 180.0, .ignoreCorrections = true});
    const PeriodSketch sketch{.amplitudes = {2, -3}, .gated = {30}, .pdCalibration = 2.0};
    ASSERT_TRUE(evaluator.addNewReceivedPeriod(0, blockOf({sketch.variant()})));
    ASSERT_TRUE(waitUntilDone(evaluator));
    EXPECT_DOUBLE_EQ(one->last()->getAbsolutePositiveSignalValueMaximum(), 3.0);
    EXPECT_DOUBLE_EQ(one->last()->getAbsoluteNegativeSignalValueMaximum(), 2.0);
    EXPECT_DOUBLE_EQ(one->last()->getEvaluatedEvents()[0].phase, 75.0) << "a quarter into the period";
}

TEST_F(ChannelEvaluator, SettingsAndVoltagesHoldForTheBlocksTheyCameWith)
{
    const PeriodSketch sketch{.amplitudes = {2}, .gated = {30}};
    const auto block = blockOf({sketch.variant(), sketch.variant()});
    evaluator.processorListChanged({one});
    evaluator.enableEvaluation(true);
    constexpr int Rounds = 200;
    for (int i = 0; i < Rounds; ++i) {
        evaluator.setGatingStatus(i % 2 == 0 ? GatingStatus::Suppressing : GatingStatus::Off);
        ASSERT_TRUE(evaluator.addNewReceivedPeriod(quint64(2 * i), block, {double(i)}));
    }
    ASSERT_TRUE(waitUntilDone(evaluator));
    const auto periods = one->periods();
    ASSERT_EQ(periods.size(), 2u * Rounds);
    for (int i = 0; i < Rounds; ++i) {
        const auto &first = *periods[std::size_t(2 * i)];
        EXPECT_EQ(first.getAbsoluteSignalValueMaximum(), i % 2 == 0 ? 2.0 : 30.0) << i;
        EXPECT_EQ(first.getTestVoltage(), i);
        EXPECT_TRUE(std::isnan(periods[std::size_t(2 * i + 1)]->getTestVoltage())) << "not told";
    }
}

TEST_F(ChannelEvaluator, ProcessorsThatStayKeepTheirThreads)
{
    const Gate &stays = one, &goes = two, &comes = three, &never = four;
    evaluator.processorListChanged({never});
    evaluator.processorListChanged({stays, goes}); // only the latest list counts
    evaluator.enableEvaluation(true);
    ASSERT_TRUE(evaluator.addNewReceivedPeriod(0, blockOf(2)));
    ASSERT_TRUE(waitUntilDone(evaluator));

    // The one that stays is busy while the list changes; what is queued for it must not get lost.
    stays->setOpen(false);
    ASSERT_TRUE(evaluator.addNewReceivedPeriod(2, blockOf(3)));
    ASSERT_TRUE(stays->waitUntilEntered(3));
    ASSERT_TRUE(waitUntil([&] { return goes->indices().size() == 5; }));
    evaluator.processorListChanged({comes, stays});
    ASSERT_TRUE(evaluator.addNewReceivedPeriod(5, blockOf(1)));
    ASSERT_TRUE(waitUntil([&] { return comes->indices().size() == 1; })) << "one that is busy holds up no other";
    EXPECT_EQ(goes->resets(), 1);
    EXPECT_EQ(evaluator.getProgress().pending, 4u);
    EXPECT_EQ(evaluator.getProgress().completedIndex, 1);
    stays->setOpen(true);
    ASSERT_TRUE(waitUntilDone(evaluator));
    EXPECT_EQ(stays->indices(), range(0, 6));
    EXPECT_EQ(stays->resets(), 0);
    EXPECT_EQ(goes->indices(), range(0, 5)) << "a list holds from the first pass on";
    EXPECT_EQ(comes->indices(), range(5, 1));
    EXPECT_TRUE(never->indices().empty());

    // A list that changes while disabled holds for the next run.
    evaluator.enableEvaluation(false);
    evaluator.waitForEnd();
    EXPECT_EQ(stays->resets(), 1);
    evaluator.processorListChanged({goes});
    evaluator.enableEvaluation(true);
    ASSERT_TRUE(evaluator.addNewReceivedPeriod(6, blockOf(1)));
    ASSERT_TRUE(waitUntilDone(evaluator));
    EXPECT_EQ(goes->indices().back(), 6u);
    EXPECT_EQ(stays->indices(), range(0, 6));
    evaluator.processorListChanged({});
    EXPECT_TRUE(waitUntil([&] { return goes.use_count() == 1; })) << "and is let go";
}

TEST_F(ChannelEvaluator, SurvivesAStormAndAccountsForEveryPeriod)
{
    const auto mixed = blockOf({QVariant(), PeriodSketch().variant(), QVariant(), QVariant()});
    std::atomic<quint64> accepted = 0;
    std::atomic<bool> raging = true;
    evaluator.enableEvaluation(true);
    std::vector<std::thread> storm;
    for (int seed = 0; seed < 4; ++seed) {
        storm.emplace_back([&, seed] {
            for (int round = 0; round < 500; ++round) {
                const int act = (round * 7 + seed * 3) % 12;
                if (act == 0 || act == 6)
                    evaluator.enableEvaluation(round % 4 != 0);
                else if (act == 1)
                    evaluator.processorListChanged({one, round % 2 ? two : three});
                else if (act == 2)
                    evaluator.setGatingStatus(GatingStatus(round % 4));
                else if (evaluator.addNewReceivedPeriod(quint64(round), mixed))
                    accepted += 4;
            }
        });
    }
    std::thread watcher([&] {
        while (raging) {
            const EvaluationProgress progress = evaluator.getProgress();
            ASSERT_LE(progress.dropped, progress.handedOn);
            ASSERT_GE(evaluator.getLoad(), 0.0);
        }
    });
    for (std::thread &thread : storm)
        thread.join();
    evaluator.enableEvaluation(true);
    ASSERT_TRUE(evaluator.addNewReceivedPeriod(1000, mixed));
    EXPECT_TRUE(waitUntilDone(evaluator));
    EXPECT_EQ(evaluator.getProgress().handedOn, accepted + 4);
    EXPECT_EQ(one->indices().back(), 1001u);
    // Disabled with a queue, it drops and counts that.
    for (quint64 index = 2000; index < 2100; ++index)
        ASSERT_TRUE(evaluator.addNewReceivedPeriod(index, blockOf(3)));
    evaluator.enableEvaluation(false);
    evaluator.waitForEnd();
    raging = false;
    watcher.join();
    EXPECT_EQ(evaluator.getProgress().handedOn, accepted + 304);
    EXPECT_EQ(evaluator.getProgress().pending, 0u);
}

using EndToEnd = EvaluationTest;

TEST_F(EndToEnd, ChannelsReadWhatAPlainLoopReads)
{
    constexpr int Channels = 4, Periods = 200, PeriodsInBlock = 5;
    const auto pd = device(Channels, true);
    const auto sketchOf = [](int channel, int index) {
        const int hash = (index * 7919 + channel * 104729) % 1000;
        return PeriodSketch{.amplitudes = {hash, -hash / 2, index % 90},
                            .gated = {2 * hash},
                            .flags = index % 11 == 0 ? Space2D::PeriodFlagDirty : 0,
                            .start = qint64(index) * 2000,
                            .end = qint64(index) * 2000 + 2000 + index % 200,
                            .pdCalibration = 0.5};
    };
    std::deque<CommonNOX::Tasks::SingleChannelEvaluationTask> tasks;
    for (int channel = 0; channel < Channels; ++channel) {
        const QString path = QStringLiteral("devices/one/channels/%1/").arg(channel);
        tree->write(path + QLatin1String("used_evaluators"), QStringLiteral("qiec;qmax;displayed_period"));
        tree->write(path + QLatin1String("gating"), int(GatingStatus::Suppressing));
        tasks.emplace_back(pd, channel);
    }
    for (int first = 0; first < Periods; first += PeriodsInBlock) {
        for (int channel = 0; channel < Channels; ++channel) {
            QVariantList periods;
            for (int i = 0; i < PeriodsInBlock; ++i)
                periods.append(sketchOf(channel, first + i).variant());
            EXPECT_TRUE(pd->addPeriodBlock(channel, quint64(first), blockOf(periods)));
        }
    }
    for (int channel = 0; channel < Channels; ++channel) {
        ASSERT_TRUE(waitUntilDone(tasks[std::size_t(channel)].getEvaluator()->getEvaluator()));
        const QString name =
            CommonNOX::GetDataEntryNameForDeviceChannel(QStringLiteral("id"), QString::number(channel));
        Processors::Calculation::QiecCalculator qiec({}, {}, 0.0);
        double peak = 0.0;
        for (int index = 0; index < Periods; ++index) {
            const PeriodSketch sketch = sketchOf(channel, index);
            // The second amplitude is half the first.
            const double largest = 0.5 * std::max(sketch.amplitudes[0], sketch.amplitudes[2]);
            ASSERT_EQ(result(QStringLiteral("qiec"), name, quint64(index), Keys::Value).toDouble(),
                      qiec.addValue(sketch.flags ? 0.0 : largest, double(sketch.end - sketch.start) / sketch.rate))
                << channel << "/" << index;
            if (largest > peak) {
                peak = largest;
                ASSERT_EQ(result(QStringLiteral("qmax"), name, quint64(index), Keys::AbsolutePeakValue), peak);
            }
        }
        EXPECT_EQ(store->findEntry(QStringLiteral("displayed_period"), name)->getCount(), 1u) << "the latest alone";
    }
}

} // namespace
