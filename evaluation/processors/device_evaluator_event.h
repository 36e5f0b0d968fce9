#pragma once

#include "nox_export.h"

#include <QObject>

namespace CommonNOX::Evaluation
{

Q_NAMESPACE_EXPORT(NOX_EXPORT)

/// What a device evaluator tells its processors besides scopes.
enum class DeviceEvaluatorEvent {
    Reset = 0,   ///< forget what was gathered; the only event that the library's processors act on
    Started = 1, ///< the measurement runs
    Stopped = 2, ///< the measurement has ended
};
Q_ENUM_NS(DeviceEvaluatorEvent)

} // namespace CommonNOX::Evaluation
