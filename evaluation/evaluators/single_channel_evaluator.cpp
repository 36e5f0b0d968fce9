#include "evaluation/evaluators/single_channel_evaluator.h"

#include "entries/catalogue/results_pd.h"
#include "entries/measurement/period.h"
#include "entries/property_keys.h"

#include <algorithm>
#include <limits>

namespace CommonNOX::Evaluation::Evaluators
{

using namespace Entries::Results::Space2D;
using namespace std::chrono_literals;
using utils::EvaluationQueueWrapper;

namespace
{

/// The entry in a block's variant. A pointer of the very class, which is the rule, needs no converter and its locks.
template <class Entry>
std::shared_ptr<const Entry> entryOf(const QVariant &value)
{
    if (value.userType() == qMetaTypeId<std::shared_ptr<const Entry>>())
        return value.value<std::shared_ptr<const Entry>>();
    return std::dynamic_pointer_cast<const Entry>(DataEntryFromVariant(value));
}

constexpr double Unknown = std::numeric_limits<double>::quiet_NaN();

QVariantList periodsOf(const PeriodBlockV1 &block)
{
    static const QString name = Entries::Keys::Periods;
    return block.get(name).toList();
}

} // namespace

SingleChannelEvaluator::SingleChannelEvaluator(QObject *parent) : QueueThread(1ms, parent)
{
    setObjectName(QStringLiteral("channel"));
}

SingleChannelEvaluator::~SingleChannelEvaluator()
{
    shutDown();
}

bool SingleChannelEvaluator::addNewReceivedPeriod(const quint64 &index,
                                                  const std::shared_ptr<const PeriodBlockV1> &block,
                                                  const QVector<double> &testVoltages)
{
    const int count = block ? periodsOf(*block).size() : 0;
    if (count == 0)
        return false;
    m_accepted.fetch_add(quint64(count), std::memory_order_release);
    m_appendedBlocks.fetch_add(1, std::memory_order_acq_rel);
    if (append({index, block, testVoltages}, WhenClosed::Refuse))
        return true;
    m_appendedBlocks.fetch_sub(1, std::memory_order_acq_rel);
    m_accepted.fetch_sub(quint64(count), std::memory_order_release);
    return false;
}

void SingleChannelEvaluator::enableEvaluation(const bool &enable)
{
    if (!enable) {
        requestStop();
        return;
    }
    requestStart([this] {
        for (const auto &wrapper : m_wrappers)
            wrapper->launch();
    });
}

void SingleChannelEvaluator::setGatingStatus(GatingStatus status)
{
    addChange(Setting::Gating, [this, status] { m_gating = status; });
}

void SingleChannelEvaluator::setBuildingOptions(const PeriodBuildingOptions &options)
{
    addChange(Setting::Options, [this, options] { m_options = options; });
}

void SingleChannelEvaluator::processorListChanged(const QList<ProcessorPtr> &processors)
{
    addChange(Setting::Processors, [this, processors] { replaceWrappers(processors); });
}

EvaluationProgress SingleChannelEvaluator::getProgress() const
{
    // Stage by stage in the direction of travel: what a stage has handed on is counted by the next before.
    EvaluationProgress progress;
    progress.accepted = m_accepted.load(std::memory_order_acquire);
    progress.handedOn = m_handedOn.load(std::memory_order_acquire);
    // Periods that are dropped meanwhile are not among those that were counted above.
    progress.dropped = std::min(m_dropped.load(std::memory_order_acquire), progress.handedOn);
    qint64 completed = std::numeric_limits<qint64>::max();
    if (progress.handedOn < progress.accepted) {
        progress.pending = progress.accepted - progress.handedOn;
        completed = m_handedIndex.load(std::memory_order_acquire);
    }
    const std::lock_guard guard(m_wrappersMutex);
    for (const auto &wrapper : m_wrappers) {
        const qint64 lastIndex = wrapper->getLastIndex();
        const quint64 done = wrapper->getDoneCount();
        const quint64 appended = wrapper->getAppendedCount();
        if (done == appended)
            continue;
        progress.pending += appended - done;
        completed = std::min(completed, lastIndex);
    }
    progress.completedIndex = completed;
    return progress;
}

double SingleChannelEvaluator::getLoad() const
{
    const std::lock_guard guard(m_wrappersMutex);
    double load = 0.0;
    for (const auto &wrapper : m_wrappers)
        load = std::max(load, wrapper->getLoad());
    return load;
}

void SingleChannelEvaluator::takeSettings()
{
    takeChanges(m_evaluatedBlocks);
}

void SingleChannelEvaluator::addChange(Setting setting, std::function<void()> make)
{
    const std::lock_guard guard(m_changesMutex);
    const quint64 firstBlock = m_appendedBlocks.load(std::memory_order_acquire);
    // Of two that hold from the same block on only the later one counts.
    m_changes.erase(std::remove_if(m_changes.begin(), m_changes.end(),
                                   [&](const Change &change) {
                                       return change.setting == setting && change.firstBlock == firstBlock;
                                   }),
                    m_changes.end());
    m_changes.push_back({firstBlock, setting, std::move(make)});
    m_changesPending.store(true, std::memory_order_release);
}

void SingleChannelEvaluator::takeChanges(quint64 block)
{
    if (!m_changesPending.load(std::memory_order_acquire))
        return;
    std::vector<Change> due;
    {
        const std::lock_guard guard(m_changesMutex);
        const auto later = std::find_if(m_changes.begin(), m_changes.end(),
                                        [block](const auto &change) { return change.firstBlock > block; });
        due.assign(std::make_move_iterator(m_changes.begin()), std::make_move_iterator(later));
        m_changes.erase(m_changes.begin(), later);
        m_changesPending.store(!m_changes.empty(), std::memory_order_relaxed);
    }
    for (const auto &change : due)
        change.make();
}

void SingleChannelEvaluator::process(Batch &batch)
{
    evaluatePeriods(batch);
}

void SingleChannelEvaluator::evaluatePeriods(const Batch &batch)
{
    for (const ReceivedBlock &received : batch) {
        takeChanges(m_evaluatedBlocks++);
        const QVariantList periods = periodsOf(*received.block);
        for (int i = 0; i < periods.size(); ++i)
            evaluatePeriod(received.index + quint64(i), periods[i], received.testVoltages.value(i, Unknown));
    }
}

void SingleChannelEvaluator::evaluatePeriod(quint64 index, const QVariant &entry, double testVoltage)
{
    const auto build = [&](Data::Period &period, const auto &typed) {
        return typed && period.preProcess(typed, m_gating, m_options.invert, m_options.phaseOffset, m_options.phaseSpan,
                                          m_options.ignoreCorrections);
    };
    // Charge readings need statistics alone; storing events costs more than all the rest.
    const auto period = std::make_shared<Data::Period>(Data::Period::Events::WhenAsked);
    period->setTestVoltage(testVoltage);
    if (build(*period, entryOf<PeriodV2>(entry)) || build(*period, entryOf<PeriodV1>(entry))) {
        for (const auto &wrapper : m_wrappers)
            wrapper->appendNewPeriod(index, period);
    } else {
        m_dropped.fetch_add(1, std::memory_order_release);
    }
    m_handedIndex.store(qint64(index), std::memory_order_release);
    m_handedOn.fetch_add(1, std::memory_order_release);
}

void SingleChannelEvaluator::leave(Batch &remaining)
{
    m_evaluatedBlocks += remaining.size();
    for (const ReceivedBlock &received : remaining) {
        const auto count = quint64(periodsOf(*received.block).size());
        m_dropped.fetch_add(count, std::memory_order_release);
        m_handedOn.fetch_add(count, std::memory_order_release);
    }
    // All are told before the first is waited for.
    for (const auto &wrapper : m_wrappers)
        wrapper->stop();
    for (const auto &wrapper : m_wrappers)
        wrapper->waitForEnd();
}

void SingleChannelEvaluator::replaceWrappers(const QList<ProcessorPtr> &processors)
{
    // Those that are left over end with this, joined, when nobody else is kept from looking any more.
    std::vector<std::unique_ptr<EvaluationQueueWrapper>> wrappers;
    const std::lock_guard guard(m_wrappersMutex);
    for (const ProcessorPtr &processor : processors) {
        const auto running = std::find_if(m_wrappers.begin(), m_wrappers.end(), [&](const auto &wrapper) {
            return wrapper && wrapper->getProcessor() == processor;
        });
        if (running != m_wrappers.end()) {
            wrappers.push_back(std::move(*running));
        } else if (processor) {
            wrappers.push_back(std::make_unique<EvaluationQueueWrapper>(processor));
            wrappers.back()->launch();
        }
    }
    m_wrappers.swap(wrappers);
}

} // namespace CommonNOX::Evaluation::Evaluators
