#pragma once

#include "evaluation/evaluators/queue_thread.h"
#include "evaluation/processors/device_processor.h"
#include "nox_export.h"
#include "platform/pending_value.h"

#include <QElapsedTimer>
#include <QList>
#include <QVector>

#include <memory>
#include <variant>

namespace CommonNOX::Entries::Results::Space2D
{
class VoltageScopeV1;
}

namespace CommonNOX::Evaluation::Evaluators
{

using VoltageScopeEntryPtr = std::shared_ptr<const Entries::Results::Space2D::VoltageScopeV1>;

/// The thread of a device: hands its voltage scopes, and events between them, to every device processor.
class NOX_EXPORT DeviceEvaluator : public QueueThread<std::variant<VoltageScopeEntryPtr, DeviceEvaluatorEvent>>
{
public:
    using ProcessorPtr = std::shared_ptr<Processors::AbstractDeviceProcessor>;

    explicit DeviceEvaluator(QObject *parent = nullptr);
    ~DeviceEvaluator() override;

    /// False when the thread is not running, and for a null scope. Any thread.
    bool addNewReceivedVoltageScope(const VoltageScopeEntryPtr &scope);
    /// Any thread but this one.
    void enableEvaluation(const bool &enable);
    bool isEnabled() const { return isOpen(); }
    /// Reaches the processors behind the scopes that are queued already. False when the thread is not running. Any
    /// thread.
    bool evaluatorEvent(DeviceEvaluatorEvent event);
    /// Holds from the next batch on. Any thread.
    void processorListChanged(const QList<ProcessorPtr> &processors);

    /// Scopes and events taken, and of these the ones that are done.
    quint64 getAcceptedCount() const { return m_accepted.load(std::memory_order_acquire); }
    quint64 getDoneCount() const { return m_done.load(std::memory_order_acquire); }
    /// Milliseconds since the thread's latest start; 0 while it has never been started.
    qint64 getElapsedMilliseconds() const;

protected:
    void takeSettings() override;
    void process(Batch &batch) override;
    void leave(Batch &remaining) override;

private:
    void evaluateVoltageScopes(const QVector<VoltageScopeEntryPtr> &scopes);
    bool appendCounted(std::variant<VoltageScopeEntryPtr, DeviceEvaluatorEvent> item);

    Shared::PendingValue<QList<ProcessorPtr>> m_pendingProcessors;
    QList<ProcessorPtr> m_processors;
    std::atomic<qint64> m_startedAt = 0; // milliseconds of the monotonic clock
    std::atomic<quint64> m_accepted = 0;
    std::atomic<quint64> m_done = 0;
};

} // namespace CommonNOX::Evaluation::Evaluators
