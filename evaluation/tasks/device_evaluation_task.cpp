#include "evaluation/tasks/device_evaluation_task.h"

#include "evaluation/context_keys.h"
#include "evaluation/evaluators/pd_device_evaluator.h"
#include "evaluation/processors/processor_names.h"
#include "platform/visitors.h"

#include <algorithm>

namespace CommonNOX::Tasks
{

namespace ContextKeys = Evaluation::ContextKeys;
using Evaluation::Evaluators::PdDeviceEvaluator;
using Utilities::GuiContextVisitor;

DeviceEvaluationTask::DeviceEvaluationTask(const std::shared_ptr<Devices::PdDevice> &device, QObject *parent)
    : QObject(parent), m_device(device), m_evaluator(std::make_shared<PdDeviceEvaluator>(device)),
      m_processors(MakeDeviceProcessorSet(device->getContext(), device->getSerialNumber()))
{
    const GuiContextVisitor context(device->getContext());
    m_subscriptions.push_back(context.subscribeProperty(
        ContextKeys::UsedEvaluators, [this](const QString &, const QVariant &value) { refeshProcessors(value); }));
    for (const auto &channel : device->getChannels()) {
        const GuiContextVisitor channelContext(device->getChannelContext(channel.getChannelIndex()));
        const QVariant usual = channel.isDefaultEnabled();
        m_subscriptions.push_back(channelContext.subscribeProperty(
            ContextKeys::Enabled, [this, usual](const QString &key, const QVariant &value) {
                onChannelEvaluationEnableFlagChanged(key, value.isValid() ? value : usual);
            }));
        // Read under the lock, so that a change which was delivered already is not undone by an older value.
        const std::lock_guard guard(m_mutex);
        m_enabledByKey[channelContext.getPropertyPath(ContextKeys::Enabled)] =
            channelContext.getProperty(ContextKeys::Enabled, usual).toBool();
    }
    {
        const std::lock_guard guard(m_mutex);
        setProcessors(context.getProperty(ContextKeys::UsedEvaluators));
    }
    applyEnableFlags();
}

DeviceEvaluationTask::~DeviceEvaluationTask()
{
    m_subscriptions.clear();
    m_evaluator->getEvaluator().enableEvaluation(false);
    m_evaluator->getEvaluator().waitForEnd();
}

bool DeviceEvaluationTask::getDeviceEvaluationState() const
{
    return m_evaluator->getEvaluator().isEnabled();
}

void DeviceEvaluationTask::onChannelEvaluationEnableFlagChanged(const QString &key, const QVariant &value)
{
    {
        const std::lock_guard guard(m_mutex);
        m_enabledByKey[key] = value.toBool();
    }
    applyEnableFlags();
}

bool DeviceEvaluationTask::isAnyChannelEnabled()
{
    const std::lock_guard guard(m_mutex);
    return std::any_of(m_enabledByKey.begin(), m_enabledByKey.end(), [](const auto &flag) { return flag.second; });
}

void DeviceEvaluationTask::applyEnableFlags()
{
    // Enabling may wait for a thread whose work reaches this task, so no lock is held; instead, whoever has acted on
    // the flags looks whether they still hold.
    bool enabled = false;
    do {
        enabled = isAnyChannelEnabled();
        m_evaluator->getEvaluator().enableEvaluation(enabled);
    } while (enabled != isAnyChannelEnabled());
}

void DeviceEvaluationTask::refeshProcessors(const QVariant &value)
{
    const std::lock_guard guard(m_mutex);
    setProcessors(value);
}

void DeviceEvaluationTask::setProcessors(const QVariant &value)
{
    if (m_processors.setNames(Evaluation::Processors::SplitProcessorNames(value.toString())))
        m_evaluator->getEvaluator().processorListChanged(m_processors.getProcessors());
}

} // namespace CommonNOX::Tasks
