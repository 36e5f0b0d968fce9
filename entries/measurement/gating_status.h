#pragma once

#include "nox_export.h"

#include <QObject>

namespace CommonNOX
{

namespace Data
{

Q_NAMESPACE_EXPORT(NOX_EXPORT)

/// What happens with the pulses that an instrument has marked as lying in a gating window.
enum class GatingStatus {
    Off = 0,         ///< no gating: marks are ignored
    Preparing = 1,   ///< windows are being set up: marks are ignored
    Marking = 2,     ///< marks are shown; the pulses count all the same
    Suppressing = 3, ///< marked pulses are kept but do not count
};
Q_ENUM_NS(GatingStatus)

} // namespace Data

using Data::GatingStatus;

} // namespace CommonNOX
