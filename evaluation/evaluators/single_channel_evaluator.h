#pragma once

#include "entries/measurement/gating_status.h"
#include "evaluation/evaluators/evaluation_queue_wrapper.h"
#include "evaluation/evaluators/queue_thread.h"
#include "nox_export.h"

#include <QList>
#include <QVector>

#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace CommonNOX::Entries::Results::Space2D
{
class PeriodBlockV1;
}

namespace CommonNOX::Evaluation::Evaluators
{

/// How the periods of a channel are built, gating apart.
struct PeriodBuildingOptions
{
    bool invert = false;
    double phaseOffset = 0.0; ///< degrees
    double phaseSpan = 360.0; ///< degrees, at most 360 are used
    bool ignoreCorrections = false;

    friend bool operator==(const PeriodBuildingOptions &, const PeriodBuildingOptions &) = default;
};

/// How far an evaluator has come.
struct EvaluationProgress
{
    quint64 accepted = 0; ///< periods taken from outside
    quint64 handedOn = 0; ///< of these, handed to the processors or dropped
    quint64 dropped = 0;  ///< of these, could not be built or were still queued at the end
    quint64 pending = 0;  ///< hand-overs that are not done yet, all processors counted; 0: everything is evaluated
    qint64 completedIndex = -1; ///< while something is pending: every processor is done up to this index
};

/// A block on its way to the evaluator.
struct ReceivedBlock
{
    quint64 index = 0; ///< of the first period
    std::shared_ptr<const Entries::Results::Space2D::PeriodBlockV1> block;
    QVector<double> testVoltages; ///< one a period; NaN, or none, where it is not known
};

/// The thread of one channel: builds the periods of received blocks and hands each to one thread a processor.
class NOX_EXPORT SingleChannelEvaluator : public QueueThread<ReceivedBlock>
{
public:
    using ProcessorPtr = std::shared_ptr<Processors::AbstractSingleChannelProcessor>;

    explicit SingleChannelEvaluator(QObject *parent = nullptr);
    ~SingleChannelEvaluator() override;

    /// Queues a block whose first period has the index; the others follow one by one. Each period takes the test
    /// voltage in force along. False when the thread is not running, for a null block and for one without periods. Any
    /// thread.
    bool addNewReceivedPeriod(const quint64 &index,
                              const std::shared_ptr<const Entries::Results::Space2D::PeriodBlockV1> &block,
                              const QVector<double> &testVoltages = {});

    /// Starts the processors' threads and then this one, or lets this one end after its pass, which ends the
    /// processors' threads. Any thread but these.
    void enableEvaluation(const bool &enable);
    bool isEnabled() const { return isOpen(); }

    /// Settings hold for the blocks that are added after them and for none before, whatever the threads do. Any thread.
    void setGatingStatus(GatingStatus status);
    void setBuildingOptions(const PeriodBuildingOptions &options);
    /// Processors that stay keep their threads and their state.
    void processorListChanged(const QList<ProcessorPtr> &processors);

    /// Exact for the thread that adds the blocks; a snapshot for any other.
    EvaluationProgress getProgress() const;
    /// The largest load figure of the processors' threads, 0 without any.
    double getLoad() const;

protected:
    void takeSettings() override;
    void process(Batch &batch) override;
    void leave(Batch &remaining) override;

private:
    enum class Setting { Gating, Options, Processors };
    struct Change
    {
        quint64 firstBlock; ///< the number of the first block for which it holds
        Setting setting;
        std::function<void()> make;
    };
    void addChange(Setting setting, std::function<void()> make);
    /// Makes the changes that were asked for before the block of this number.
    void takeChanges(quint64 block);
    void evaluatePeriods(const Batch &batch);
    void evaluatePeriod(quint64 index, const QVariant &entry, double testVoltage);
    void replaceWrappers(const QList<ProcessorPtr> &processors);

    // Changes wait for their block; the flag says whether there are any.
    std::mutex m_changesMutex;
    std::vector<Change> m_changes;
    std::atomic<bool> m_changesPending = false;
    std::atomic<quint64> m_appendedBlocks = 0;
    quint64 m_evaluatedBlocks = 0; // of this thread
    GatingStatus m_gating = GatingStatus::Off;
    PeriodBuildingOptions m_options;

    // Changed by this thread alone; the lock lets others look.
    mutable std::mutex m_wrappersMutex;
    std::vector<std::unique_ptr<utils::EvaluationQueueWrapper>> m_wrappers;

    std::atomic<quint64> m_accepted = 0;
    std::atomic<quint64> m_handedOn = 0;
    std::atomic<quint64> m_dropped = 0;
    std::atomic<qint64> m_handedIndex = -1;
};

} // namespace CommonNOX::Evaluation::Evaluators
