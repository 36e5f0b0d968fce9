#include "evaluation/tasks/single_channel_evaluation_task.h"

#include "evaluation/context_keys.h"
#include "evaluation/evaluators/pd_channel_evaluator.h"
#include "evaluation/processors/processor_names.h"
#include "evaluation/tasks/channel_settings.h"
#include "evaluation/tasks/qtut_worker.h"

namespace CommonNOX::Tasks
{

namespace ContextKeys = Evaluation::ContextKeys;
using Evaluation::Evaluators::PdChannelEvaluator;

SingleChannelEvaluationTask::SingleChannelEvaluationTask(const std::shared_ptr<Devices::PdDevice> &device, int channel,
                                                         QObject *parent)
    : QObject(parent), m_device(device), m_evaluator(std::make_shared<PdChannelEvaluator>(device, channel)),
      m_processors(MakeSingleChannelProcessorSet(device->getContext(), device->getChannelContext(channel),
                                                 device->getSerialNumber(), unsigned(channel)))
{
    follow(ContextKeys::UsedEvaluators, [this](const QVariant &value) { refeshProcessors(value); });
    for (const auto &key : {ContextKeys::Gating, ContextKeys::Invert, ContextKeys::PhaseOffset, ContextKeys::PhaseSpan,
                            ContextKeys::IgnoreCorrections})
        follow(key, [this](const QVariant &) { setupGating(); });
    for (const auto &key : {ContextKeys::QtUtEnabled, ContextKeys::QtUtInterval})
        follow(key, [this](const QVariant &) { setupQtUtWorkerThread(); });
    follow(ContextKeys::Enabled, [this](const QVariant &) { checkIfChannelIsEnabled(); });

    {
        // Read under the lock, so that a change which was delivered already is not undone by an older value.
        const std::lock_guard guard(m_mutex);
        setProcessors(m_evaluator->getChannelContext().getProperty(ContextKeys::UsedEvaluators));
    }
    setupGating();
    setupQtUtWorkerThread();
    checkIfChannelIsEnabled();
}

SingleChannelEvaluationTask::~SingleChannelEvaluationTask()
{
    m_subscriptions.clear();
    m_evaluator->getEvaluator().enableEvaluation(false);
    m_evaluator->getEvaluator().waitForEnd();
}

void SingleChannelEvaluationTask::follow(QLatin1String key, std::function<void(const QVariant &)> react)
{
    m_subscriptions.push_back(m_evaluator->getChannelContext().subscribeProperty(
        key, [react](const QString &, const QVariant &value) { react(value); }));
}

SingleChannelEvaluationTask::SingleChannelEvaluationState SingleChannelEvaluationTask::getEvaluationState() const
{
    return m_evaluator->getEvaluationState();
}

void SingleChannelEvaluationTask::refeshProcessors(const QVariant &value)
{
    const std::lock_guard guard(m_mutex);
    setProcessors(value);
}

void SingleChannelEvaluationTask::setProcessors(const QVariant &value)
{
    if (m_processors.setNames(Evaluation::Processors::SplitProcessorNames(value.toString())))
        m_evaluator->getEvaluator().processorListChanged(m_processors.getProcessors());
}

void SingleChannelEvaluationTask::checkIfChannelIsEnabled()
{
    // Enabling may wait for threads whose work reaches this task, so no lock is held; instead, whoever has acted on
    // the flag looks whether it still holds.
    bool enabled = false;
    do {
        enabled = m_evaluator->isChannelEnabled();
        m_evaluator->getEvaluator().enableEvaluation(enabled);
    } while (enabled != m_evaluator->isChannelEnabled());
}

void SingleChannelEvaluationTask::setupGating()
{
    const auto context = m_evaluator->getChannelContext();
    // Keys are written side by side: what was read first must not arrive last.
    const std::lock_guard guard(m_mutex);
    m_evaluator->getEvaluator().setGatingStatus(ReadGatingStatus(context));
    m_evaluator->getEvaluator().setBuildingOptions(ReadBuildingOptions(context));
}

void SingleChannelEvaluationTask::setupQtUtWorkerThread()
{
    const auto context = m_evaluator->getChannelContext();
    std::unique_ptr<QtUtWorker> ended;
    {
        const std::lock_guard guard(m_mutex);
        ended.swap(m_qtUtWorker);
    }
    // Joined without the lock: what the thread writes may reach an observer that writes this context.
    ended.reset();
    const std::lock_guard guard(m_mutex);
    if (!m_qtUtWorker && context.getProperty(ContextKeys::QtUtEnabled, false).toBool()) {
        const int interval = context.getProperty(ContextKeys::QtUtInterval, QtUtWorker::DefaultIntervalMs).toInt();
        m_qtUtWorker = std::make_unique<QtUtWorker>(m_device->getSerialNumber(), m_evaluator->getChannel(), interval);
    }
}

} // namespace CommonNOX::Tasks
