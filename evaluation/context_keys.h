#pragma once

#include "evaluation/constant_name.h"

/// The properties of device and channel contexts that the evaluation reads and publishes; docs/configuration-keys.md
/// tells their values.
namespace CommonNOX::Evaluation::ContextKeys
{

inline constexpr QLatin1String UsedEvaluators = ConstantName("used_evaluators");
inline constexpr QLatin1String Enabled = ConstantName("enabled");
inline constexpr QLatin1String Gating = ConstantName("gating");
inline constexpr QLatin1String Invert = ConstantName("invert");
inline constexpr QLatin1String PhaseOffset = ConstantName("phase_offset");
inline constexpr QLatin1String PhaseSpan = ConstantName("phase_span");
inline constexpr QLatin1String IgnoreCorrections = ConstantName("ignore_corrections");
inline constexpr QLatin1String QiecTau1 = ConstantName("qiec_tau1");
inline constexpr QLatin1String QiecTau2 = ConstantName("qiec_tau2");
inline constexpr QLatin1String InitialQiec = ConstantName("init_qiec_value");
inline constexpr QLatin1String IsReplayDevice = ConstantName("is_replay_device");
inline constexpr QLatin1String QtUtEnabled = ConstantName("qtut_enabled");
inline constexpr QLatin1String QtUtInterval = ConstantName("qtut_overview_timeout");
inline constexpr QLatin1String PatternVisible = ConstantName("pattern_visible");
inline constexpr QLatin1String PatternInterval = ConstantName("pattern_interval");
inline constexpr QLatin1String CriterionX = ConstantName("inception_extinction_x");
inline constexpr QLatin1String CriterionY = ConstantName("inception_extinction_y");
inline constexpr QLatin1String InceptionCharge = ConstantName("inception_charge");
inline constexpr QLatin1String ExtinctionCharge = ConstantName("extinction_charge");
inline constexpr QLatin1String HasRecordedDecisions = ConstantName("inception_extinction_recorded");
inline constexpr QLatin1String Devices = ConstantName("devices");

inline constexpr QLatin1String InceptionExtinction = ConstantName("inception_extinction");
inline constexpr QLatin1String InceptionVoltage = ConstantName("inception_voltage");
inline constexpr QLatin1String ExtinctionVoltage = ConstantName("extinction_voltage");
inline constexpr QLatin1String EvaluationState = ConstantName("evaluation_state");
inline constexpr QLatin1String EvaluationLoad = ConstantName("evaluation_load");
inline constexpr QLatin1String EvaluatedPeriods = ConstantName("evaluated_periods");
inline constexpr QLatin1String DroppedPeriods = ConstantName("dropped_periods");
inline constexpr QLatin1String Temperature = ConstantName("temperature");
inline constexpr QLatin1String Gpio = ConstantName("gpio");

} // namespace CommonNOX::Evaluation::ContextKeys
