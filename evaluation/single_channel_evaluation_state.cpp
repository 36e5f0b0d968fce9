#include "evaluation/single_channel_evaluation_state.h"

namespace CommonNOX::Evaluation
{

QString ConvertEvaluationStateToString(SingleChannelEvaluationState state)
{
    switch (state) {
    case SingleChannelEvaluationState::Idle:
        return QStringLiteral("idle");
    case SingleChannelEvaluationState::Evaluating:
        return QStringLiteral("evaluating");
    case SingleChannelEvaluationState::Disabled:
        break;
    }
    return QStringLiteral("disabled");
}

} // namespace CommonNOX::Evaluation
