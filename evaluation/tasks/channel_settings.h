#pragma once

#include "entries/measurement/gating_status.h"
#include "evaluation/evaluators/single_channel_evaluator.h"
#include "nox_export.h"

namespace Utilities
{
class GuiContextVisitor;
} // namespace Utilities

namespace CommonNOX::Tasks
{

/// What a channel's context says about the building of its periods. Any thread.
NOX_EXPORT GatingStatus ReadGatingStatus(const Utilities::GuiContextVisitor &context);
NOX_EXPORT Evaluation::Evaluators::PeriodBuildingOptions
ReadBuildingOptions(const Utilities::GuiContextVisitor &context);

} // namespace CommonNOX::Tasks
