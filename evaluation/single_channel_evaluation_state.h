#pragma once

#include "nox_export.h"

#include <QString>

namespace CommonNOX::Evaluation
{

/// What the evaluation of one channel is doing.
enum class SingleChannelEvaluationState {
    Disabled = 0,   ///< the channel is switched off, or its thread has not started
    Idle = 1,       ///< enabled, nothing is queued
    Evaluating = 2, ///< enabled, periods are on their way
};

/// "disabled", "idle" or "evaluating".
NOX_EXPORT QString ConvertEvaluationStateToString(SingleChannelEvaluationState state);

} // namespace CommonNOX::Evaluation
