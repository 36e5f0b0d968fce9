#pragma once

namespace Shared::Diagrams
{

/// How a diagram's axis runs. Stored as an integer, so values never change meaning.
enum class AxisScalingType { Linear = 1, Logarithmic = 2 };

} // namespace Shared::Diagrams
