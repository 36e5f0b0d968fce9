#include "evaluation/evaluators/pd_channel_evaluator.h"
#include "evaluation/evaluators/single_channel_evaluator.h"
#include "evaluation/tasks/processor_set.h"
#include "tests/evaluation/evaluation_tools.h"

#include "entries/entry_names.h"
#include "evaluation/processors/processor_names.h"
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

QList<SingleChannelEvaluator::ProcessorPtr> listOf(std::initializer_list<Gate> gates)
{
    QList<SingleChannelEvaluator::ProcessorPtr> list;
    for (const Gate &gate : gates)
        list.append(gate);
    return list;
}

std::vector<quint64> range(quint64 first, std::size_t count)
{
    std::vector<quint64> indices(count);
    std::iota(indices.begin(), indices.end(), first);
    return indices;
}

bool waitUntilDone(const SingleChannelEvaluator &evaluator)
{
    return waitUntil([&] { return evaluator.getProgress().pending == 0; });
}

TEST(SingleChannelEvaluator, RefusesWhatItCannotTake)
{
    SingleChannelEvaluator evaluator;
    EXPECT_FALSE(evaluator.isEnabled());
    EXPECT_FALSE(evaluator.addNewReceivedPeriod(0, blockOf(1))) << "never enabled";
    evaluator.enableEvaluation(true);
    EXPECT_TRUE(evaluator.isEnabled());
    EXPECT_FALSE(evaluator.addNewReceivedPeriod(0, nullptr));
    EXPECT_FALSE(evaluator.addNewReceivedPeriod(0, blockOf(0)));
    EXPECT_TRUE(evaluator.addNewReceivedPeriod(0, blockOf(1))) << "without processors, too";
    EXPECT_TRUE(waitUntilDone(evaluator));
    evaluator.enableEvaluation(false);
    evaluator.waitForEnd();
    EXPECT_FALSE(evaluator.addNewReceivedPeriod(1, blockOf(1)));
    const EvaluationProgress progress = evaluator.getProgress();
    EXPECT_EQ(progress.accepted, 1u);
    EXPECT_EQ(progress.handedOn, 1u);
}

TEST(SingleChannelEvaluator, HandsEveryPeriodToEveryProcessorInOrder)
{
    SingleChannelEvaluator evaluator;
    const auto first = std::make_shared<GateProcessor>(), second = std::make_shared<GateProcessor>();
    evaluator.processorListChanged(listOf({first, nullptr, second}));
    evaluator.enableEvaluation(true);
    evaluator.enableEvaluation(true);
    quint64 index = 5;
    for (int block = 0; block < 200; ++block) {
        const int count = 1 + block % 4;
        ASSERT_TRUE(evaluator.addNewReceivedPeriod(index, blockOf(count)));
        index += quint64(count);
        if (block % 50 == 0) {
            ASSERT_TRUE(waitUntilDone(evaluator));
            ASSERT_EQ(first->indices().size(), std::size_t(index - 5)) << "pending 0: evaluated by all";
            ASSERT_EQ(second->indices().size(), std::size_t(index - 5));
        }
    }
    ASSERT_TRUE(waitUntilDone(evaluator));
    EXPECT_EQ(first->indices(), range(5, std::size_t(index - 5)));
    EXPECT_EQ(second->indices(), first->indices());
    EXPECT_EQ(evaluator.getProgress().accepted, index - 5);
    EXPECT_EQ(evaluator.getProgress().dropped, 0u);
}

TEST(SingleChannelEvaluator, DropsWhatIsNoPeriod)
{
    SingleChannelEvaluator evaluator;
    const auto processor = std::make_shared<GateProcessor>();
    evaluator.processorListChanged(listOf({processor}));
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
    EXPECT_EQ(processor->indices(), (std::vector<quint64>{100, 108}));
    EXPECT_EQ(evaluator.getProgress().dropped, 7u);
    EXPECT_EQ(evaluator.getProgress().handedOn, 9u);
}

TEST(SingleChannelEvaluator, BuildsPeriodsAsItWasTold)
{
    struct Row
    {
        GatingStatus gating;
        Evaluators::PeriodBuildingOptions options;
        double positive;
        double negative;
        double phase; // of the first pulse, a quarter into the period
    };
    const Row rows[] = {
        {GatingStatus::Off, {}, 60, 6, 90},
        {GatingStatus::Suppressing, {}, 4, 6, 90},
        {GatingStatus::Marking, {.invert = true}, 6, 60, 90},
        {GatingStatus::Suppressing, {.invert = true, .ignoreCorrections = true}, 3, 2, 90},
        {GatingStatus::Off, {.phaseOffset = 30.0, .phaseSpan = 180.0}, 60, 6, 75},
        {GatingStatus::Off, {.phaseSpan = 720.0}, 60, 6, 90},
    };
    SingleChannelEvaluator evaluator;
    const auto processor = std::make_shared<GateProcessor>();
    evaluator.processorListChanged(listOf({processor}));
    evaluator.enableEvaluation(true);
    const auto block = blockOf({PeriodSketch{.amplitudes = {2, -3}, .gated = {30}, .pdCalibration = 2.0}.variant()});
    quint64 index = 0;
    for (const Row &row : rows) {
        evaluator.setGatingStatus(row.gating);
        evaluator.setBuildingOptions(row.options);
        ASSERT_TRUE(evaluator.addNewReceivedPeriod(++index, block));
        ASSERT_TRUE(waitUntilDone(evaluator));
        const auto period = processor->last();
        EXPECT_DOUBLE_EQ(period->getAbsolutePositiveSignalValueMaximum(), row.positive) << index;
        EXPECT_DOUBLE_EQ(period->getAbsoluteNegativeSignalValueMaximum(), row.negative) << index;
        EXPECT_DOUBLE_EQ(period->getEvaluatedEvents()[0].phase, row.phase) << index;
    }
}

TEST(SingleChannelEvaluator, ProcessorsThatStayKeepTheirThreads)
{
    SingleChannelEvaluator evaluator;
    const auto stays = std::make_shared<GateProcessor>(), goes = std::make_shared<GateProcessor>(),
               comes = std::make_shared<GateProcessor>(), never = std::make_shared<GateProcessor>();
    evaluator.processorListChanged(listOf({never}));
    evaluator.processorListChanged(listOf({stays, goes})); // only the latest list counts
    evaluator.enableEvaluation(true);
    ASSERT_TRUE(evaluator.addNewReceivedPeriod(0, blockOf(2)));
    ASSERT_TRUE(waitUntilDone(evaluator));
    EXPECT_EQ(goes->indices(), range(0, 2)) << "a list holds from the first pass on";

    // The one that stays is busy while the list changes; what is queued for it must not get lost.
    stays->setOpen(false);
    ASSERT_TRUE(evaluator.addNewReceivedPeriod(2, blockOf(3)));
    ASSERT_TRUE(stays->waitUntilEntered(3));
    ASSERT_TRUE(waitUntil([&] { return goes->indices().size() == 5; }));
    evaluator.processorListChanged(listOf({comes, stays}));
    ASSERT_TRUE(evaluator.addNewReceivedPeriod(5, blockOf(1)));
    ASSERT_TRUE(waitUntil([&] { return comes->indices().size() == 1; })) << "one that is busy holds up no other";
    EXPECT_EQ(goes->resets(), 1);
    const EvaluationProgress busy = evaluator.getProgress();
    EXPECT_EQ(busy.pending, 4u);
    EXPECT_EQ(busy.completedIndex, 1);
    stays->setOpen(true);
    ASSERT_TRUE(waitUntilDone(evaluator));
    EXPECT_EQ(stays->indices(), range(0, 6));
    EXPECT_EQ(stays->resets(), 0);
    EXPECT_EQ(goes->indices(), range(0, 5));
    EXPECT_EQ(comes->indices(), range(5, 1));
    EXPECT_TRUE(never->indices().empty());

    // A list that changes while disabled holds for the next run.
    evaluator.enableEvaluation(false);
    evaluator.waitForEnd();
    EXPECT_EQ(stays->resets(), 1);
    evaluator.processorListChanged(listOf({goes}));
    evaluator.enableEvaluation(true);
    ASSERT_TRUE(evaluator.addNewReceivedPeriod(6, blockOf(1)));
    ASSERT_TRUE(waitUntilDone(evaluator));
    EXPECT_EQ(goes->indices().back(), 6u);
    EXPECT_EQ(stays->indices(), range(0, 6));
    evaluator.processorListChanged({});
    EXPECT_TRUE(waitUntil([&] { return goes.use_count() == 1; })) << "and is let go";
}

TEST(SingleChannelEvaluator, NeverCountsMoreDroppedThanHandedOn)
{
    SingleChannelEvaluator evaluator;
    evaluator.enableEvaluation(true);
    std::atomic<bool> feeding = true;
    std::thread watcher([&] {
        while (feeding) {
            const EvaluationProgress progress = evaluator.getProgress();
            ASSERT_LE(progress.dropped, progress.handedOn);
            ASSERT_GE(evaluator.getLoad(), 0.0);
        }
    });
    const auto bad = blockOf({QVariant(), QVariant(), QVariant(), QVariant()});
    for (quint64 index = 0; index < 20000; index += 4)
        ASSERT_TRUE(evaluator.addNewReceivedPeriod(index, bad));
    EXPECT_TRUE(waitUntilDone(evaluator));
    feeding = false;
    watcher.join();
    EXPECT_EQ(evaluator.getProgress().dropped, 20000u);
}

TEST(SingleChannelEvaluator, SurvivesAStormAndAccountsForEveryPeriod)
{
    const auto one = std::make_shared<GateProcessor>(), two = std::make_shared<GateProcessor>(),
               three = std::make_shared<GateProcessor>();
    std::atomic<quint64> accepted = 0;
    {
        SingleChannelEvaluator evaluator;
        std::vector<std::thread> storm;
        for (int seed = 0; seed < 4; ++seed) {
            storm.emplace_back([&, seed] {
                for (int round = 0; round < 150; ++round) {
                    switch ((round * 7 + seed * 3) % 6) {
                    case 0:
                        evaluator.enableEvaluation(round % 4 != 0);
                        break;
                    case 1:
                        evaluator.processorListChanged(round % 2 ? listOf({one, two}) : listOf({three, one}));
                        break;
                    case 2:
                        evaluator.setGatingStatus(GatingStatus(round % 4));
                        evaluator.getProgress();
                        break;
                    default:
                        if (evaluator.addNewReceivedPeriod(quint64(round), blockOf(2)))
                            accepted += 2;
                    }
                }
            });
        }
        for (std::thread &thread : storm)
            thread.join();
        evaluator.enableEvaluation(true);
        ASSERT_TRUE(evaluator.addNewReceivedPeriod(1000, blockOf(2)));
        accepted += 2;
        ASSERT_TRUE(waitUntilDone(evaluator));
        EXPECT_EQ(evaluator.getProgress().accepted, accepted.load());
        EXPECT_EQ(evaluator.getProgress().handedOn, accepted.load());
        EXPECT_EQ(one->indices().back(), 1001u);
        evaluator.addNewReceivedPeriod(2000, blockOf(50));
    }
    EXPECT_EQ(one.use_count(), 1) << "destroyed, it holds no processor";
}

TEST(SingleChannelEvaluator, DropsAndCountsItsQueueWhenDisabled)
{
    for (int round = 0; round < 50; ++round) {
        SingleChannelEvaluator evaluator;
        const auto processor = std::make_shared<GateProcessor>();
        evaluator.processorListChanged(listOf({processor}));
        evaluator.enableEvaluation(true);
        quint64 accepted = 0;
        for (int block = 0; block < 20; ++block) {
            if (block == 10)
                evaluator.enableEvaluation(false);
            accepted += evaluator.addNewReceivedPeriod(quint64(block) * 3, blockOf(3)) ? 3 : 0;
        }
        evaluator.waitForEnd();
        const EvaluationProgress progress = evaluator.getProgress();
        ASSERT_EQ(progress.accepted, accepted);
        ASSERT_EQ(progress.handedOn, accepted);
        ASSERT_EQ(progress.pending, 0u);
        ASSERT_LE(processor->indices().size(), std::size_t(accepted - progress.dropped));
        ASSERT_LE(processor->resets(), 1);
    }
}

using EndToEnd = EvaluationTest;

TEST_F(EndToEnd, ChannelsReadWhatAPlainLoopReads)
{
    constexpr int Channels = 4, Blocks = 40, PeriodsInBlock = 5;
    const auto pd = device(Channels);
    const auto sketchOf = [](int channel, int index) {
        const int hash = (index * 7919 + channel * 104729) % 1000;
        return PeriodSketch{.amplitudes = {hash, -hash / 2, index % 90},
                            .gated = {2 * hash},
                            .flags = index % 11 == 0 ? Space2D::PeriodFlagDirty : 0,
                            .start = qint64(index) * 2000,
                            .end = qint64(index) * 2000 + 2000 + index % 200,
                            .pdCalibration = 0.5};
    };
    std::vector<CommonNOX::Tasks::SingleChannelProcessorSet> sets;
    std::deque<Evaluators::PdChannelEvaluator> evaluators;
    for (int channel = 0; channel < Channels; ++channel) {
        sets.push_back(CommonNOX::Tasks::MakeSingleChannelProcessorSet(pd->getContext(), pd->getChannelContext(channel),
                                                                       pd->getSerialNumber(), unsigned(channel)));
        sets.back().setNames(Processors::SplitProcessorNames(QStringLiteral("qiec;qmax;frequency;displayed_period")));
        auto &evaluator = evaluators.emplace_back(pd, channel).getEvaluator();
        evaluator.processorListChanged(sets.back().getProcessors());
        evaluator.setGatingStatus(GatingStatus::Suppressing);
        evaluator.enableEvaluation(true);
    }
    std::thread feeding([&] {
        for (int block = 0; block < Blocks; ++block) {
            for (int channel = 0; channel < Channels; ++channel) {
                QVariantList periods;
                for (int i = 0; i < PeriodsInBlock; ++i)
                    periods.append(sketchOf(channel, block * PeriodsInBlock + i).variant());
                EXPECT_TRUE(pd->addPeriodBlock(channel, quint64(block) * PeriodsInBlock, blockOf(periods)));
            }
        }
    });
    feeding.join();
    for (int channel = 0; channel < Channels; ++channel) {
        ASSERT_TRUE(waitUntilDone(evaluators[std::size_t(channel)].getEvaluator()));
        const QString name =
            CommonNOX::GetDataEntryNameForDeviceChannel(QStringLiteral("id"), QString::number(channel));
        Processors::Calculation::QiecCalculator qiec({}, {}, 0.0);
        double peak = 0.0;
        for (int index = 0; index < Blocks * PeriodsInBlock; ++index) {
            const PeriodSketch sketch = sketchOf(channel, index);
            double positive = 0.0, negative = 0.0;
            for (const int amplitude : sketch.amplitudes)
                (amplitude < 0 ? negative : positive) =
                    std::max(amplitude < 0 ? negative : positive, std::abs(0.5 * amplitude));
            const double largest = std::max(positive, negative);
            const double ticks = double(sketch.end - sketch.start);
            const quint64 at = quint64(index);
            ASSERT_EQ(result(QStringLiteral("qiec"), name, at, Keys::Value).toDouble(),
                      qiec.addValue(sketch.flags ? 0.0 : largest, ticks / sketch.rate))
                << channel << "/" << index;
            ASSERT_EQ(result(QStringLiteral("frequency"), name, at, Keys::Value).toDouble(), sketch.rate / ticks);
            if (largest > peak) {
                peak = largest;
                ASSERT_EQ(result(QStringLiteral("qmax"), name, at, Keys::AbsolutePeakValue).toDouble(), peak);
            }
        }
        const auto displayed = store->findEntry(QStringLiteral("displayed_period"), name);
        EXPECT_EQ(displayed->getCount(), 1u) << "the latest alone is kept";
        const auto last = sketchOf(channel, Blocks * PeriodsInBlock - 1);
        EXPECT_EQ(result(QStringLiteral("displayed_period"), name, Blocks * PeriodsInBlock - 1, Keys::GatedSignal)
                      .value<CommonNOX::Entries::ValueVector>(),
                  CommonNOX::Entries::ValueVector({0.5 * last.gated[0]}));
    }
}

} // namespace
