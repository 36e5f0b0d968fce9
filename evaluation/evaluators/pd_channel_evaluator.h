#pragma once

#include "connections/devices/pd_device.h"
#include "evaluation/evaluators/single_channel_evaluator.h"
#include "evaluation/single_channel_evaluation_state.h"
#include "nox_export.h"
#include "platform/visitors.h"

#include <memory>

namespace CommonNOX::Evaluation::Evaluators
{

/// The evaluator of one channel of a PD device: it takes the blocks that the device receives for the channel.
class NOX_EXPORT PdChannelEvaluator
{
public:
    PdChannelEvaluator(const std::shared_ptr<Devices::PdDevice> &device, int channel);
    PdChannelEvaluator(const PdChannelEvaluator &) = delete;
    PdChannelEvaluator &operator=(const PdChannelEvaluator &) = delete;
    ~PdChannelEvaluator();

    int getChannel() const { return m_channel; }
    SingleChannelEvaluator &getEvaluator() { return m_evaluator; }
    const SingleChannelEvaluator &getEvaluator() const { return m_evaluator; }
    Utilities::GuiContextVisitor getChannelContext() const { return m_context; }

    /// The channel's property "enabled"; while it is absent, what the channel's description says.
    bool isChannelEnabled() const;
    SingleChannelEvaluationState getEvaluationState() const;
    /// Writes state, load and counts to the channel's context. Any thread.
    void publishEvaluationProperties() const;

private:
    const std::shared_ptr<Devices::PdDevice> m_device;
    const int m_channel;
    const Utilities::GuiContextVisitor m_context;
    SingleChannelEvaluator m_evaluator;
    // Last, so that no block arrives while the evaluator goes.
    Shared::Subscription m_blocks;
};

} // namespace CommonNOX::Evaluation::Evaluators
