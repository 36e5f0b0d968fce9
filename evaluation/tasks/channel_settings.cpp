#include "evaluation/tasks/channel_settings.h"

#include "evaluation/context_keys.h"
#include "platform/visitors.h"

namespace CommonNOX::Tasks
{

namespace ContextKeys = Evaluation::ContextKeys;

GatingStatus ReadGatingStatus(const Utilities::GuiContextVisitor &context)
{
    return GatingStatus(context.getProperty(ContextKeys::Gating, 0).toInt());
}

Evaluation::Evaluators::PeriodBuildingOptions ReadBuildingOptions(const Utilities::GuiContextVisitor &context)
{
    Evaluation::Evaluators::PeriodBuildingOptions options;
    options.invert = context.getProperty(ContextKeys::Invert, options.invert).toBool();
    options.phaseOffset = context.getProperty(ContextKeys::PhaseOffset, options.phaseOffset).toDouble();
    options.phaseSpan = context.getProperty(ContextKeys::PhaseSpan, options.phaseSpan).toDouble();
    options.ignoreCorrections = context.getProperty(ContextKeys::IgnoreCorrections, options.ignoreCorrections).toBool();
    return options;
}

} // namespace CommonNOX::Tasks
