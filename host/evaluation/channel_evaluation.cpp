#include "host/evaluation/channel_evaluation.h"

#include "evaluation/context_keys.h"
#include "evaluation/processors/processor_names.h"
#include "evaluation/tasks/channel_settings.h"
#include "platform/visitors.h"

namespace NoxHost
{

namespace ContextKeys = CommonNOX::Evaluation::ContextKeys;
using CommonNOX::Evaluation::Processors::SplitProcessorNames;

ChannelEvaluation::ChannelEvaluation(const ReaderConstPtr &deviceContext, const ReaderConstPtr &channelContext,
                                     const QString &device, int index)
    : m_context(channelContext), m_processors(CommonNOX::Tasks::MakeSingleChannelProcessorSet(
                                     deviceContext, channelContext, device, unsigned(index)))
{
    m_evaluator.setObjectName(QStringLiteral("channel %1").arg(index));
}

void ChannelEvaluation::start(const EvaluationSettings &settings)
{
    writeSettings(settings);
    takeProcessors();
    takeBuilding();
    m_evaluator.enableEvaluation(true);
}

/// Every setting is written, so that a recording of the device says how it was evaluated.
void ChannelEvaluation::writeSettings(const EvaluationSettings &settings) const
{
    const Utilities::GuiContextVisitor context(m_context);
    const auto write = [&](const QString &key, const QVariant &value) {
        if (settings.given.contains(key) || !context.getProperty(key).isValid())
            context.setProperty(key, value);
    };
    write(ContextKeys::UsedEvaluators, settings.evaluators.join(QLatin1Char(';')));
    write(ContextKeys::Gating, int(settings.gating));
    write(ContextKeys::Invert, settings.building.invert);
    write(ContextKeys::PhaseOffset, settings.building.phaseOffset);
    write(ContextKeys::PhaseSpan, settings.building.phaseSpan);
    write(ContextKeys::IgnoreCorrections, settings.building.ignoreCorrections);
    // A time constant is left to its default, which a write of the same value would not be: the filter takes it up
    // as a change.
    if (settings.tau1)
        write(ContextKeys::QiecTau1, *settings.tau1);
    if (settings.tau2)
        write(ContextKeys::QiecTau2, *settings.tau2);
    write(ContextKeys::InitialQiec, settings.initialQiec.value_or(0.0));
    if (settings.criterion) {
        write(ContextKeys::CriterionX, settings.criterion->x);
        write(ContextKeys::CriterionY, settings.criterion->y);
        write(ContextKeys::InceptionCharge, settings.criterion->inceptionCharge);
        write(ContextKeys::ExtinctionCharge, settings.criterion->extinctionCharge);
    }
}

QStringList ChannelEvaluation::getWantedNames() const
{
    const Utilities::GuiContextVisitor context(m_context);
    return SplitProcessorNames(context.getProperty(ContextKeys::UsedEvaluators).toString());
}

void ChannelEvaluation::takeProcessors()
{
    if (m_processors.setNames(getWantedNames()))
        m_evaluator.processorListChanged(m_processors.getProcessors());
}

void ChannelEvaluation::takeBuilding()
{
    const Utilities::GuiContextVisitor context(m_context);
    m_evaluator.setGatingStatus(CommonNOX::Tasks::ReadGatingStatus(context));
    m_evaluator.setBuildingOptions(CommonNOX::Tasks::ReadBuildingOptions(context));
}

void ChannelEvaluation::followSettings(const std::function<void()> &waitForFed)
{
    const Utilities::GuiContextVisitor context(m_context);
    // A processor that goes drops what it has not evaluated yet: what was fed before is waited for.
    m_subscriptions.push_back(
        context.subscribeProperty(ContextKeys::UsedEvaluators, [this, waitForFed](const QString &, const QVariant &) {
            waitForFed();
            takeProcessors();
        }));
    for (const QLatin1String &key : {ContextKeys::Gating, ContextKeys::Invert, ContextKeys::PhaseOffset,
                                     ContextKeys::PhaseSpan, ContextKeys::IgnoreCorrections})
        m_subscriptions.push_back(
            context.subscribeProperty(key, [this](const QString &, const QVariant &) { takeBuilding(); }));
}

} // namespace NoxHost
