#include "evaluation/evaluators/evaluation_queue_wrapper.h"
#include "evaluation/evaluators/queue_thread.h"
#include "tests/evaluation/evaluation_tools.h"

#include <functional>
#include <limits>

using namespace EvaluationTools;
using CommonNOX::Evaluation::QueueThread;
using CommonNOX::Evaluation::utils::EvaluationQueueWrapper;

namespace
{

/// A thread whose hooks a test supplies.
class HookedThread : public QueueThread<int>
{
public:
    HookedThread() : QueueThread(std::chrono::microseconds(50), nullptr) {}
    ~HookedThread() override { shutDown(); }

    void begin()
    {
        requestStart([this] {
            EXPECT_FALSE(m_inside) << "only between two runs";
            ++starts;
        });
    }
    void end() { requestStop(); }
    bool isOpenNow() const { return isOpen(); }
    bool add(int item) { return append(item, WhenClosed::Refuse); }

    std::function<void()> onSettings = [] {};
    std::function<void(const std::vector<int> &)> onBatch = [](const auto &) {};
    std::function<void()> onLeave = [] {};
    std::atomic<int> starts = 0;
    std::atomic<int> processed = 0;
    std::atomic<int> dropped = 0;

protected:
    void takeSettings() override { onSettings(); }
    void process(Batch &batch) override
    {
        EXPECT_FALSE(m_inside.exchange(true)) << "two threads at once";
        onBatch(batch);
        processed += int(batch.size());
        m_inside = false;
    }
    void leave(Batch &remaining) override
    {
        onLeave();
        dropped += int(remaining.size());
    }

private:
    std::atomic<bool> m_inside = false;
};

TEST(QueueThread, ASettingHoldsForWhatIsAppendedAfterIt)
{
    HookedThread thread;
    std::atomic<int> pending = 0;
    int taken = 0;
    bool first = true;
    std::atomic<int> seen = -1;
    thread.onSettings = [&] {
        taken = pending;
        // What another thread might do at the worst moment.
        if (std::exchange(first, false)) {
            pending = 1;
            thread.add(1);
        }
    };
    thread.onBatch = [&](const auto &) { seen = taken; };
    thread.begin();
    ASSERT_TRUE(waitUntil([&] { return thread.processed == 1; }));
    EXPECT_EQ(seen, 1);
}

TEST(QueueThread, StartsAgainWhenAskedWhileItLeaves)
{
    HookedThread thread;
    std::atomic<bool> leaving = false, mayLeave = false;
    thread.onLeave = [&] {
        leaving = true;
        EXPECT_TRUE(waitUntil([&] { return mayLeave.load(); }));
    };
    EXPECT_FALSE(thread.add(0)) << "never started";
    thread.begin();
    thread.begin();
    EXPECT_EQ(thread.starts, 1);
    thread.end();
    ASSERT_TRUE(waitUntil([&] { return leaving.load(); }));
    EXPECT_FALSE(thread.isOpenNow());
    EXPECT_FALSE(thread.add(0));
    std::thread again([&] { thread.begin(); });
    mayLeave = true;
    again.join();
    EXPECT_TRUE(thread.isOpenNow());
    EXPECT_EQ(thread.starts, 2);
    EXPECT_TRUE(thread.add(5));
    EXPECT_TRUE(waitUntil([&] { return thread.processed == 1; }));
}

TEST(QueueThread, TakesAStartBackThatWasNotActedOn)
{
    HookedThread thread;
    std::atomic<int> batches = 0;
    std::atomic<bool> go = false;
    thread.onBatch = [&](const auto &) {
        ++batches;
        EXPECT_TRUE(waitUntil([&] { return go.load(); }));
    };
    thread.begin();
    thread.add(1);
    ASSERT_TRUE(waitUntil([&] { return batches == 1; }));
    thread.end();
    thread.begin(); // it has not seen the stop: it goes on
    thread.add(2);
    go = true;
    EXPECT_TRUE(waitUntil([&] { return thread.processed == 2; }));
    EXPECT_EQ(thread.starts, 1);
    go = false;
    thread.add(3);
    ASSERT_TRUE(waitUntil([&] { return batches == 3; }));
    thread.add(4);
    thread.add(5);
    thread.begin();
    thread.end();
    go = true;
    thread.waitForEnd();
    EXPECT_EQ(thread.processed, 3);
    EXPECT_EQ(thread.dropped, 2) << "queued when it left";
}

TEST(QueueThread, LosesNothingInAStormOfStartsAndStops)
{
    HookedThread thread;
    std::atomic<int> accepted = 0;
    std::vector<std::thread> storm;
    for (int i = 0; i < 4; ++i) {
        storm.emplace_back([&, i] {
            for (int round = 0; round < 300; ++round) {
                if (i < 2)
                    accepted += thread.add(round);
                else if ((round + i) % 2)
                    thread.begin();
                else
                    thread.end();
            }
        });
    }
    for (std::thread &one : storm)
        one.join();
    thread.begin();
    EXPECT_TRUE(thread.isOpenNow());
    const int before = accepted;
    EXPECT_TRUE(thread.add(1));
    EXPECT_TRUE(waitUntil([&] { return thread.processed + thread.dropped == before + 1; }));
    thread.end();
    thread.waitForEnd();
    EXPECT_FALSE(thread.isRunning());
    EXPECT_FALSE(thread.isOpenNow());
}

TEST(EvaluationQueueWrapper, EvaluatesWhatGatheredMeanwhileInOrder)
{
    const auto processor = std::make_shared<GateProcessor>();
    EvaluationQueueWrapper wrapper(processor);
    wrapper.setObjectName(QStringLiteral("ch3 slow"));
    processor->setOpen(false);
    EXPECT_TRUE(wrapper.appendNewPeriod(7, PeriodSketch().period())) << "kept for the start";
    EXPECT_EQ(wrapper.getLastIndex(), -1);
    wrapper.launch();
    wrapper.launch();
    ASSERT_TRUE(processor->waitUntilEntered(1));
    for (const quint64 index : {9, 8, 10})
        EXPECT_TRUE(wrapper.appendNewPeriod(index, PeriodSketch().period()));
    EXPECT_TRUE(wrapper.appendNewPeriod(11, nullptr)) << "passed over";
    EXPECT_EQ(wrapper.getAppendedCount(), 5u);
    EXPECT_EQ(wrapper.getDoneCount(), 0u);
    processor->setOpen(true);
    ASSERT_TRUE(waitUntil([&] { return wrapper.getDoneCount() == 5; }));
    EXPECT_EQ(processor->indices(), (std::vector<quint64>{7, 9, 8, 10}));
    EXPECT_EQ(wrapper.getLastIndex(), 11);
    EXPECT_EQ(processor->threadName(), "ch3 slow");
    EXPECT_EQ(processor->resets(), 0);
}

TEST(EvaluationQueueWrapper, ResetsItsProcessorOnceARun)
{
    const auto processor = std::make_shared<GateProcessor>();
    {
        EvaluationQueueWrapper wrapper(processor);
        wrapper.stop();
        wrapper.waitForEnd();
        EXPECT_EQ(processor->resets(), 0) << "it never ran";
        for (int run = 1; run <= 3; ++run) {
            processor->setOpen(false);
            wrapper.launch();
            wrapper.appendNewPeriod(quint64(run), PeriodSketch().period());
            ASSERT_TRUE(processor->waitUntilEntered(run));
            wrapper.appendNewPeriod(100, PeriodSketch().period()); // never reaches the processor
            wrapper.stop();
            wrapper.stop();
            processor->setOpen(true);
            wrapper.waitForEnd();
            EXPECT_EQ(processor->resets(), run);
            EXPECT_EQ(wrapper.getDoneCount(), wrapper.getAppendedCount()) << "what was dropped is done";
        }
        EXPECT_EQ(processor->indices(), (std::vector<quint64>{1, 2, 3}));
        wrapper.launch();
    }
    EXPECT_EQ(processor->resets(), 4) << "destroying ends the run";
}

TEST(EvaluationQueueWrapper, TellsHowMuchTimeWasToSpare)
{
    const auto processor = std::make_shared<GateProcessor>();
    EvaluationQueueWrapper wrapper(processor);
    EXPECT_EQ(wrapper.getLoad(), 0.0);
    // Seconds of measurement, held up for a few milliseconds: far below 0.
    processor->setOpen(false);
    wrapper.appendNewPeriod(0, PeriodSketch{.end = 1000000, .rate = 1}.period());
    wrapper.launch();
    ASSERT_TRUE(processor->waitUntilEntered(1));
    const auto since = std::chrono::steady_clock::now();
    waitUntil([&] { return std::chrono::steady_clock::now() - since > std::chrono::milliseconds(3); });
    processor->setOpen(true);
    ASSERT_TRUE(waitUntil([&] { return wrapper.getLoad() != 0.0; }));
    EXPECT_LT(wrapper.getLoad(), 1.0);
    // The longest period there can be, whose milliseconds fit no integer.
    processor->setOpen(false);
    wrapper.appendNewPeriod(
        1,
        PeriodSketch{.start = std::numeric_limits<qint64>::min(), .end = std::numeric_limits<qint64>::max(), .rate = 1}
            .period());
    ASSERT_TRUE(processor->waitUntilEntered(2));
    const auto again = std::chrono::steady_clock::now();
    waitUntil([&] { return std::chrono::steady_clock::now() - again > std::chrono::milliseconds(3); });
    processor->setOpen(true);
    ASSERT_TRUE(waitUntil([&] { return wrapper.getDoneCount() == 2; }));
    EXPECT_TRUE(waitUntil([&] { return wrapper.getLoad() < -1e13; }));
}

} // namespace
