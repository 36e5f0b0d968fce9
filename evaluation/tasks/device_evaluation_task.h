#pragma once

#include "connections/devices/pd_device.h"
#include "evaluation/tasks/processor_set.h"
#include "nox_export.h"
#include "platform/call_back_list.h"

#include <QObject>
#include <QVariant>

#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace CommonNOX::Evaluation::Evaluators
{
class PdDeviceEvaluator;
}

namespace CommonNOX::Tasks
{

/// Evaluates the voltage scopes of a PD device while at least one of its channels is enabled, by the processors that
/// the device context's "used_evaluators" names.
class NOX_EXPORT DeviceEvaluationTask : public QObject
{
    Q_OBJECT
public:
    explicit DeviceEvaluationTask(const std::shared_ptr<Devices::PdDevice> &device, QObject *parent = nullptr);
    ~DeviceEvaluationTask() override;

    std::shared_ptr<Evaluation::Evaluators::PdDeviceEvaluator> getEvaluator() const { return m_evaluator; }
    /// Whether scopes are being evaluated.
    bool getDeviceEvaluationState() const;

    /// Takes a channel's new enable flag; the key is the full path of the channel's property. Any thread.
    void onChannelEvaluationEnableFlagChanged(const QString &key, const QVariant &value);
    /// Takes a new value of "used_evaluators". Any thread. (The name is misspelt on purpose: applications call it.)
    void refeshProcessors(const QVariant &value);

private:
    bool isAnyChannelEnabled();
    void applyEnableFlags();
    void setProcessors(const QVariant &value);

    std::shared_ptr<Devices::PdDevice> m_device;
    std::shared_ptr<Evaluation::Evaluators::PdDeviceEvaluator> m_evaluator;
    std::mutex m_mutex; // guards what several writers of the contexts may change at once
    DeviceProcessorSet m_processors;
    std::map<QString, bool> m_enabledByKey;
    // Last, so that nothing is followed any more when the rest goes.
    std::vector<Shared::Subscription> m_subscriptions;
};

} // namespace CommonNOX::Tasks
