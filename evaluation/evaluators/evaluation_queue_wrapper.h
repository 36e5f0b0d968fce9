#pragma once

#include "evaluation/evaluators/queue_thread.h"
#include "evaluation/processors/single_channel_processor.h"
#include "nox_export.h"

#include <memory>
#include <utility>

namespace CommonNOX::Evaluation::Processors
{
class TestVoltageReceiver;
}

namespace CommonNOX::Evaluation::utils
{

using IndexedPeriod = std::pair<quint64, std::shared_ptr<const Data::Period>>;

/// The thread of one processor: hands it the periods of its channel in order of arrival, each with the test voltage
/// that came with it for a processor that receives these, and resets its state when it ends.
class NOX_EXPORT EvaluationQueueWrapper : public QueueThread<IndexedPeriod>
{
public:
    explicit EvaluationQueueWrapper(const std::shared_ptr<Processors::AbstractSingleChannelProcessor> &processor,
                                    QObject *parent = nullptr);
    ~EvaluationQueueWrapper() override;

    std::shared_ptr<Processors::AbstractSingleChannelProcessor> getProcessor() const { return m_processor; }

    /// Starts the thread unless it runs. Any thread but this one.
    void launch();
    /// The thread leaves at the end of its pass; what is queued then is dropped. Any thread.
    void stop();

    /// Always true: the queue has no bound. Any thread.
    bool appendNewPeriod(const quint64 &index, const std::shared_ptr<const Data::Period> &period);

    /// How many periods have been appended, and how many of them are done (evaluated, or dropped by a stop).
    quint64 getAppendedCount() const { return m_appended.load(std::memory_order_acquire); }
    quint64 getDoneCount() const { return m_done.load(std::memory_order_acquire); }
    /// The index of the period done last, or -1.
    qint64 getLastIndex() const { return m_lastIndex.load(std::memory_order_acquire); }

    /// How much of the measuring time of the latest batch was to spare: 1 - measured over evaluating time, so below
    /// 0 while the processor is faster than the measurement.
    double getLoad() const { return m_load.load(std::memory_order_relaxed); }

protected:
    void process(Batch &batch) override;
    void leave(Batch &remaining) override;

private:
    const std::shared_ptr<Processors::AbstractSingleChannelProcessor> m_processor;
    Processors::TestVoltageReceiver *const m_voltageReceiver; // the processor, or null
    std::atomic<quint64> m_appended = 0;
    std::atomic<quint64> m_done = 0;
    std::atomic<qint64> m_lastIndex = -1;
    std::atomic<double> m_load = 0.0;
};

} // namespace CommonNOX::Evaluation::utils
