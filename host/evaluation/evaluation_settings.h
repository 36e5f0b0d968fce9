#pragma once

#include "entries/measurement/gating_status.h"
#include "evaluation/evaluators/single_channel_evaluator.h"

#include <QStringList>

#include <optional>

namespace NoxHost
{

/// When discharge has started: X of the latest Y periods lie above one charge; and when it has stopped: X of them lie
/// below the other. Charges are in the channel's PD unit.
struct InceptionCriterion
{
    quint32 x = 0;
    quint32 y = 0;
    double inceptionCharge = 0.0;
    double extinctionCharge = 0.0;
};

/// How a measurement is evaluated; the same for all channels.
struct EvaluationSettings
{
    QStringList evaluators;
    CommonNOX::GatingStatus gating = CommonNOX::GatingStatus::Off;
    CommonNOX::Evaluation::Evaluators::PeriodBuildingOptions building;
    std::optional<double> tau1;        ///< seconds
    std::optional<double> tau2;        ///< seconds
    std::optional<double> initialQiec; ///< in the channel's PD unit
    std::optional<InceptionCriterion> criterion;
    /// Keys of the channel's context that were asked for: of a device that has settings of its own, such as a
    /// recording, only these are replaced.
    QStringList given;
};

} // namespace NoxHost
