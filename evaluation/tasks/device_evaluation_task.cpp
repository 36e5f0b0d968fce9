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

DeviceEvaluationTask::DeviceEvaluationTask(const std::shared_ptr<Devices::PdDevice> &device, QObject *parent) :
    QObject(parent), m_device(device), m_evaluator(std::make_shared<PdDeviceEvaluator>(device)),
    m_processors(MakeDeviceProcessorSet(device->getContext(), device->getSerialNumber()))
{
    const GuiContextVisitor context(device->getContext());
    m_subscriptions.push_back(context.subscribeProperty(
        ContextKeys::UsedEvaluators, [this](const QString &, const QVariant &value) { refeshProcessors(value); }));
    for (const auto &channel : device->getChannels()) {
        const GuiContextVisitor channelContext(device->getChannelContext(channel.getChannelIndex()));
        m_subscriptions.push_back(channelContext.subscribeProperty(
            ContextKeys::Enabled,
            [this](const QString &key, const QVariant &value) { onChannelEvaluationEnableFlagChanged(key, value); }));
        onChannelEvaluationEnableFlagChanged(
            channelContext.getPropertyPath(ContextKeys::Enabled),
            channelContext.getProperty(ContextKeys::Enabled, channel.isDefaultEnabled()));
    }
    refeshProcessors(context.getProperty(ContextKeys::UsedEvaluators));
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
    const std::lock_guard guard(m_mutex);
    m_enabledByKey[key] = value.toBool();
    const bool anyEnabled =
        std::any_of(m_enabledByKey.begin(), m_enabledByKey.end(), [](const auto &flag) { return flag.second; });
    m_evaluator->getEvaluator().enableEvaluation(anyEnabled);
}

void DeviceEvaluationTask::refeshProcessors(const QVariant &value)
{
    const std::lock_guard guard(m_mutex);
    if (m_processors.setNames(Evaluation::Processors::SplitProcessorNames(value.toString())))
        m_evaluator->getEvaluator().processorListChanged(m_processors.getProcessors());
}

} // namespace CommonNOX::Tasks
