#include "evaluation/evaluators/evaluation_queue_wrapper.h"
#include "evaluation/evaluators/queue_thread.h"
#include "tests/evaluation/evaluation_tools.h"

#include <functional>

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
        requestStart([this] { ++starts; });
    }
    void end() { requestStop(); }
    bool add(int item) { return append(item, WhenClosed::Refuse); }

    std::function<void()> onSettings = [] {};
    std::function<void(const std::vector<int> &)> onBatch = [](const auto &) {};
    std::function<void()> onLeave = [] {};
    std::atomic<int> starts = 0, processed = 0, dropped = 0;

protected:
    void takeSettings() override { onSettings(); }
    void process(Batch &batch) override
    {
        onBatch(batch);
        processed += int(batch.size());
    }
    void leave(Batch &remaining) override
    {
        onLeave();
        dropped += int(remaining.size());
    }
};

TEST(QueueThread, ASettingHoldsForWhatIsAppendedAfterIt)
{
    std::atomic<int> pending = 0, seen = -1;
    int taken = 0;
    HookedThread thread;
    thread.onSettings = [&] {
        taken = pending;
        // What another thread might do at the worst moment.
        if (pending.exchange(1) == 0)
            thread.add(1);
    };
    thread.onBatch = [&](const auto &) { seen = taken; };
    thread.begin();
    ASSERT_TRUE(waitUntil([&] { return thread.processed == 1; }));
    EXPECT_EQ(seen, 1);
}

TEST(QueueThread, StartsAgainWhenAskedWhileItLeaves)
{
    std::atomic<bool> leaving = false, mayLeave = false;
    HookedThread thread;
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
    EXPECT_FALSE(thread.add(0));
    std::thread again([&] { thread.begin(); });
    mayLeave = true;
    again.join();
    EXPECT_EQ(thread.starts, 2);
    EXPECT_TRUE(thread.add(5));
    EXPECT_TRUE(waitUntil([&] { return thread.processed == 1; }));
}

TEST(QueueThread, TakesAStartBackThatWasNotActedOn)
{
    std::atomic<int> batches = 0, mayEnd = 0;
    HookedThread thread;
    thread.onBatch = [&](const auto &) {
        const int batch = ++batches;
        EXPECT_TRUE(waitUntil([&] { return mayEnd >= batch; }));
    };
    thread.begin();
    thread.add(1);
    ASSERT_TRUE(waitUntil([&] { return batches == 1; }));
    thread.end();
    thread.begin(); // it has not seen the stop: it goes on
    thread.add(2);
    mayEnd = 1;
    ASSERT_TRUE(waitUntil([&] { return batches == 2; }));
    EXPECT_EQ(thread.starts, 1);
    thread.add(3);
    thread.add(4);
    thread.begin();
    thread.end();
    mayEnd = 2;
    thread.waitForEnd();
    EXPECT_EQ(thread.processed, 2);
    EXPECT_EQ(thread.dropped, 2) << "queued when it left";
}

TEST(EvaluationQueueWrapper, EvaluatesInOrderAndResetsItsProcessorOnceARun)
{
    const auto processor = std::make_shared<GateProcessor>();
    EvaluationQueueWrapper wrapper(processor);
    const auto append = [&](std::initializer_list<quint64> indices) {
        for (const quint64 index : indices)
            EXPECT_TRUE(wrapper.appendNewPeriod(index, PeriodSketch().period()));
    };
    wrapper.stop();
    wrapper.waitForEnd();
    EXPECT_EQ(processor->resets(), 0) << "it never ran";
    processor->setOpen(false);
    append({7}); // kept for the start
    EXPECT_EQ(wrapper.getLastIndex(), -1);
    wrapper.launch();
    wrapper.launch();
    ASSERT_TRUE(processor->waitUntilEntered(1));
    append({9, 8, 10});
    EXPECT_TRUE(wrapper.appendNewPeriod(11, nullptr)) << "passed over";
    EXPECT_EQ(wrapper.getAppendedCount(), 5u);
    EXPECT_EQ(wrapper.getDoneCount(), 0u);
    processor->setOpen(true);
    ASSERT_TRUE(waitUntil([&] { return wrapper.getDoneCount() == 5; }));
    EXPECT_EQ(wrapper.getLastIndex(), 11);
    for (int run = 1; run <= 2; ++run) {
        processor->setOpen(false);
        wrapper.launch();
        append({quint64(20 + run)});
        ASSERT_TRUE(processor->waitUntilEntered(4 + run));
        append({100}); // never reaches the processor
        EXPECT_EQ(processor->resets(), run - 1);
        wrapper.stop();
        wrapper.stop();
        processor->setOpen(true);
        wrapper.waitForEnd();
        EXPECT_EQ(processor->resets(), run);
        EXPECT_EQ(wrapper.getDoneCount(), wrapper.getAppendedCount()) << "what was dropped is done";
    }
    EXPECT_EQ(processor->indices(), (std::vector<quint64>{7, 9, 8, 10, 21, 22}));
}

} // namespace
