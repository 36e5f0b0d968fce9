#pragma once

#include <QLatin1String>

/// The properties of device and channel contexts that the evaluation reads and publishes; docs/configuration-keys.md
/// tells their values.
namespace CommonNOX::Evaluation::ContextKeys
{

inline constexpr QLatin1String UsedEvaluators("used_evaluators");
inline constexpr QLatin1String Enabled("enabled");
inline constexpr QLatin1String Gating("gating");
inline constexpr QLatin1String Invert("invert");
inline constexpr QLatin1String PhaseOffset("phase_offset");
inline constexpr QLatin1String PhaseSpan("phase_span");
inline constexpr QLatin1String IgnoreCorrections("ignore_corrections");
inline constexpr QLatin1String QiecTau1("qiec_tau1");
inline constexpr QLatin1String QiecTau2("qiec_tau2");
inline constexpr QLatin1String InitialQiec("init_qiec_value");
inline constexpr QLatin1String IsReplayDevice("is_replay_device");
inline constexpr QLatin1String QtUtEnabled("qtut_enabled");
inline constexpr QLatin1String QtUtInterval("qtut_overview_timeout");
inline constexpr QLatin1String PatternVisible("pattern_visible");
inline constexpr QLatin1String Devices("devices");

inline constexpr QLatin1String EvaluationState("evaluation_state");
inline constexpr QLatin1String EvaluationLoad("evaluation_load");
inline constexpr QLatin1String EvaluatedPeriods("evaluated_periods");
inline constexpr QLatin1String DroppedPeriods("dropped_periods");
inline constexpr QLatin1String Temperature("temperature");
inline constexpr QLatin1String Gpio("gpio");

} // namespace CommonNOX::Evaluation::ContextKeys
