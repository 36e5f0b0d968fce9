#pragma once

#include "connections/devices/pd_device.h"
#include "evaluation/single_channel_evaluation_state.h"
#include "evaluation/tasks/processor_set.h"
#include "nox_export.h"
#include "platform/call_back_list.h"

#include <QObject>
#include <QVariant>

#include <memory>
#include <mutex>
#include <vector>

namespace CommonNOX::Evaluation::Evaluators
{
class PdChannelEvaluator;
}

namespace CommonNOX::Tasks
{

class QtUtWorker;

/// Evaluates one channel of a PD device as the channel's context says: its evaluators, whether it is enabled, its
/// gating and the other properties of evaluation/context_keys.h. Changes are followed, in the thread that makes them.
class NOX_EXPORT SingleChannelEvaluationTask : public QObject
{
    Q_OBJECT
public:
    using SingleChannelEvaluationState = Evaluation::SingleChannelEvaluationState;

    SingleChannelEvaluationTask(const std::shared_ptr<Devices::PdDevice> &device, int channel,
                                QObject *parent = nullptr);
    ~SingleChannelEvaluationTask() override;

    std::shared_ptr<Evaluation::Evaluators::PdChannelEvaluator> getEvaluator() const { return m_evaluator; }
    SingleChannelEvaluationState getEvaluationState() const;

    /// Takes a new value of "used_evaluators". Any thread. (The name is misspelt on purpose: applications call it.)
    void refeshProcessors(const QVariant &value);
    /// Starts or ends the evaluation as the channel's enable flag says. Any thread.
    void checkIfChannelIsEnabled();
    /// Hands gating and the building of periods to the evaluator. Any thread.
    void setupGating();
    /// Starts or ends the thread that gathers the charge-over-voltage overview. Any thread but that one.
    void setupQtUtWorkerThread();

private:
    void follow(QLatin1String key, std::function<void(const QVariant &)> react);
    void setProcessors(const QVariant &value);

    std::shared_ptr<Devices::PdDevice> m_device;
    std::shared_ptr<Evaluation::Evaluators::PdChannelEvaluator> m_evaluator;
    std::mutex m_mutex; // guards what several writers of the context may change at once
    SingleChannelProcessorSet m_processors;
    std::unique_ptr<QtUtWorker> m_qtUtWorker;
    // Last, so that nothing is followed any more when the rest goes.
    std::vector<Shared::Subscription> m_subscriptions;
};

} // namespace CommonNOX::Tasks
