#pragma once

#include <QObject>

namespace CommonNOX
{

Q_NAMESPACE

/// What happens with the pulses that an instrument has marked as lying in a gating window.
enum class GatingStatus {
    Off = 0,         ///< no gating: marks are ignored
    Preparing = 1,   ///< windows are being set up: marks are ignored
    Marking = 2,     ///< marks are shown; the pulses count all the same
    Suppressing = 3, ///< marked pulses are kept but do not count
};
Q_ENUM_NS(GatingStatus)

} // namespace CommonNOX
