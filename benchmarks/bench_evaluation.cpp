#include "benchmarks/paired.h"
#include "benchmarks/pulses.h"

#include "entries/catalogue/results_pd.h"
#include "entries/measurement/period.h"
#include "entries/property_keys.h"
#include "evaluation/evaluators/single_channel_evaluator.h"
#include "evaluation/processors/processor_names.h"
#include "evaluation/tasks/processor_set.h"

#include <benchmark/benchmark.h>

#include <array>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace Bench
{

using namespace std::chrono_literals;
using CommonNOX::GatingStatus;
using CommonNOX::Entries::Results::Space2D::PeriodBlockV1;
using CommonNOX::Evaluation::QueueThread;
using CommonNOX::Evaluation::Evaluators::SingleChannelEvaluator;
using CommonNOX::Evaluation::utils::IndexedPeriod;

namespace
{

constexpr int PeaksOfPeriod = 1000;
constexpr int PeriodsOfBlock = 10;
constexpr int PeaksOfBlock = PeaksOfPeriod * PeriodsOfBlock;
constexpr int BlocksOfPass = 1000; // a channel
constexpr int Channels = 4;
/// Hand-overs of a channel that may be under way: an instrument delivers no faster than memory lasts either.
constexpr quint64 MaximumPending = 1000;

std::shared_ptr<const PeriodBlockV1> makeBlock()
{
    QVariantList periods;
    for (const auto &entry : MakePeriodEntries(PeaksOfBlock, PeaksOfPeriod))
        periods.append(QVariant::fromValue(entry));
    const auto block = std::make_shared<PeriodBlockV1>();
    block->set(CommonNOX::Entries::Keys::Periods, periods);
    return block;
}

/// The evaluation of a device as its tasks set it up, fed by hand.
class Evaluation
{
public:
    Evaluation()
    {
        const auto reader = Shared::GuiContexts::MakeReader(QStringLiteral("benchmark"));
        for (unsigned int channel = 0; channel < Channels; ++channel) {
            auto set =
                CommonNOX::Tasks::MakeSingleChannelProcessorSet(reader, reader, QStringLiteral("benchmark"), channel);
            set.setNames(CommonNOX::Evaluation::Processors::SplitProcessorNames(QStringLiteral("qiec;qmax")));
            m_evaluators[channel].processorListChanged(set.getProcessors());
            m_evaluators[channel].enableEvaluation(true);
        }
    }

    void run()
    {
        for (int i = 0; i < BlocksOfPass; ++i) {
            for (SingleChannelEvaluator &evaluator : m_evaluators) {
                waitUntilPendingIsAtMost(evaluator, MaximumPending);
                evaluator.addNewReceivedPeriod(m_index, m_block);
            }
            m_index += PeriodsOfBlock;
        }
        for (const SingleChannelEvaluator &evaluator : m_evaluators)
            waitUntilPendingIsAtMost(evaluator, 0);
    }

private:
    static void waitUntilPendingIsAtMost(const SingleChannelEvaluator &evaluator, quint64 pending)
    {
        while (evaluator.getProgress().pending > pending)
            std::this_thread::sleep_for(100us);
    }

    const std::shared_ptr<const PeriodBlockV1> m_block = makeBlock();
    std::array<SingleChannelEvaluator, Channels> m_evaluators;
    quint64 m_index = 0;
};

Contest blocksToResults()
{
    const auto evaluation = std::make_shared<Evaluation>();
    const auto build = [entries = MakePeriodEntries(PeaksOfBlock, PeaksOfPeriod)] {
        for (const auto &entry : entries) {
            CommonNOX::Data::Period period;
            benchmark::DoNotOptimize(period.preProcess(entry, GatingStatus::Off, false, 0.0, 360.0, false));
            benchmark::DoNotOptimize(period.getEvaluatedEvents());
        }
    };
    return {{[evaluation] { evaluation->run(); }, double(Channels) * BlocksOfPass * PeaksOfBlock},
            {build, double(PeaksOfBlock)}};
}

constexpr quint64 HandedItems = 100'000;

void waitUntil(const std::atomic<quint64> &taken, quint64 count)
{
    while (taken.load(std::memory_order_acquire) < count)
        std::this_thread::yield();
}

class IdleQueueThread final : public QueueThread<IndexedPeriod>
{
public:
    IdleQueueThread() : QueueThread(1ms, nullptr)
    {
        requestStart([] {});
    }
    ~IdleQueueThread() override { shutDown(); }

    void run(const std::shared_ptr<const CommonNOX::Data::Period> &period)
    {
        for (quint64 i = 0; i < HandedItems; ++i)
            append({i, period}, WhenClosed::Refuse);
        m_expected += HandedItems;
        waitUntil(m_taken, m_expected);
    }

protected:
    using QueueThread::run;
    void process(Batch &batch) override
    {
        benchmark::DoNotOptimize(batch.data());
        m_taken.fetch_add(batch.size(), std::memory_order_release);
    }

private:
    std::atomic<quint64> m_taken = 0;
    quint64 m_expected = 0;
};

/// The least that hands items from thread to thread.
class BareHandOff
{
public:
    BareHandOff() : m_thread([this] { consume(); }) {}
    BareHandOff(const BareHandOff &) = delete;
    BareHandOff &operator=(const BareHandOff &) = delete;
    ~BareHandOff()
    {
        m_running = false;
        m_thread.join();
    }

    void run(const std::shared_ptr<const CommonNOX::Data::Period> &period)
    {
        for (quint64 i = 0; i < HandedItems; ++i) {
            const std::lock_guard guard(m_mutex);
            m_queue.emplace_back(i, period);
        }
        m_expected += HandedItems;
        waitUntil(m_taken, m_expected);
    }

private:
    void consume()
    {
        std::vector<IndexedPeriod> batch;
        while (m_running) {
            {
                const std::lock_guard guard(m_mutex);
                m_queue.swap(batch);
            }
            if (batch.empty())
                std::this_thread::sleep_for(1ms);
            benchmark::DoNotOptimize(batch.data());
            m_taken.fetch_add(batch.size(), std::memory_order_release);
            batch.clear();
        }
    }

    std::mutex m_mutex;
    std::vector<IndexedPeriod> m_queue;
    std::atomic<bool> m_running = true;
    std::atomic<quint64> m_taken = 0;
    quint64 m_expected = 0;
    std::thread m_thread; // last: it uses the others
};

Contest handOff()
{
    const auto period = std::make_shared<const CommonNOX::Data::Period>();
    const auto subject = std::make_shared<IdleQueueThread>();
    const auto peer = std::make_shared<BareHandOff>();
    return {{[subject, period] { subject->run(period); }, double(HandedItems)},
            {[peer, period] { peer->run(period); }, double(HandedItems)}};
}

} // namespace

std::vector<Pair> EvaluationPairs()
{
    const auto atLeast = [](double ratio) { return Limit{Limit::Kind::RateAtLeast, ratio}; };
    return {
        {"evaluation: blocks of 4 channels to results, peaks a second / building in one thread", atLeast(0.8),
         blocksToResults},
        {"evaluation: hand-off, items a second / bare mutex and swap", atLeast(0.5), handOff},
    };
}

} // namespace Bench
