#pragma once

#include "entries/measurement/gating_status.h"
#include "evaluation/evaluators/single_channel_evaluator.h"

#include <QStringList>

#include <optional>

namespace NoxHost
{

/// How a measurement is evaluated; the same for all channels.
struct EvaluationSettings
{
    QStringList evaluators;
    CommonNOX::GatingStatus gating = CommonNOX::GatingStatus::Off;
    CommonNOX::Evaluation::Evaluators::PeriodBuildingOptions building;
    std::optional<double> tau1;        ///< seconds
    std::optional<double> tau2;        ///< seconds
    std::optional<double> initialQiec; ///< in the channel's PD unit
    /// Keys of the channel's context that were asked for: of a device that has settings of its own, such as a
    /// recording, only these are replaced.
    QStringList given;
};

} // namespace NoxHost
