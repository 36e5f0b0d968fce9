#pragma once

#include "evaluation/evaluators/single_channel_evaluator.h"
#include "evaluation/tasks/processor_set.h"
#include "host/evaluation/evaluation_settings.h"
#include "platform/call_back_list.h"

#include <functional>
#include <vector>

namespace NoxHost
{

/// One channel's evaluator, set up as the channel's context says. The thread that feeds it.
class ChannelEvaluation
{
public:
    using ReaderConstPtr = CommonNOX::Evaluation::Processors::ReaderConstPtr;

    /// `device` is the name under which results are kept.
    ChannelEvaluation(const ReaderConstPtr &deviceContext, const ReaderConstPtr &channelContext, const QString &device,
                      int index);

    /// Writes the settings into the context, those that are there already and were not asked for apart, and begins.
    void start(const EvaluationSettings &settings);
    /// From now on the context says how the channel is evaluated. Changes come on the thread that feeds, and hold from
    /// the next block on; `waitForFed` returns when everything before it has been evaluated.
    void followSettings(const std::function<void()> &waitForFed);

    CommonNOX::Evaluation::Evaluators::SingleChannelEvaluator &getEvaluator() { return m_evaluator; }
    QStringList getProcessorNames() const { return m_processors.getNames(); }
    /// All that the context names, also what is no processor of a channel.
    QStringList getWantedNames() const;

private:
    void writeSettings(const EvaluationSettings &settings) const;
    void takeProcessors();
    void takeBuilding();

    const ReaderConstPtr m_context;
    CommonNOX::Tasks::SingleChannelProcessorSet m_processors;
    CommonNOX::Evaluation::Evaluators::SingleChannelEvaluator m_evaluator;
    // Last, so that nothing is followed any more when the rest goes.
    std::vector<Shared::Subscription> m_subscriptions;
};

} // namespace NoxHost
