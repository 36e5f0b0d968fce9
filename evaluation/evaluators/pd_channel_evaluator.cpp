#include "evaluation/evaluators/pd_channel_evaluator.h"

#include "evaluation/context_keys.h"

namespace CommonNOX::Evaluation::Evaluators
{

PdChannelEvaluator::PdChannelEvaluator(const std::shared_ptr<Devices::PdDevice> &device, int channel)
    : m_device(device), m_channel(channel), m_context(device->getChannelContext(channel))
{
    m_evaluator.setObjectName(QStringLiteral("channel %1").arg(channel));
    m_blocks = m_device->subscribePeriodBlocks(
        [this](int from, quint64 index, const Devices::PdDevice::PeriodBlockPtr &block, const auto &testVoltages) {
            if (from == m_channel)
                m_evaluator.addNewReceivedPeriod(index, block, testVoltages);
        });
}

PdChannelEvaluator::~PdChannelEvaluator() = default;

bool PdChannelEvaluator::isChannelEnabled() const
{
    const auto *information = m_device->findChannel(m_channel);
    return m_context.getProperty(ContextKeys::Enabled, information && information->isDefaultEnabled()).toBool();
}

SingleChannelEvaluationState PdChannelEvaluator::getEvaluationState() const
{
    if (!m_evaluator.isEnabled())
        return SingleChannelEvaluationState::Disabled;
    return m_evaluator.getProgress().pending == 0 ? SingleChannelEvaluationState::Idle
                                                  : SingleChannelEvaluationState::Evaluating;
}

void PdChannelEvaluator::publishEvaluationProperties() const
{
    const EvaluationProgress progress = m_evaluator.getProgress();
    m_context.setProperty(ContextKeys::EvaluationState, ConvertEvaluationStateToString(getEvaluationState()));
    m_context.setProperty(ContextKeys::EvaluationLoad, m_evaluator.getLoad());
    m_context.setProperty(ContextKeys::EvaluatedPeriods, progress.handedOn - progress.dropped);
    m_context.setProperty(ContextKeys::DroppedPeriods, progress.dropped);
}

} // namespace CommonNOX::Evaluation::Evaluators
