#pragma once

#include "entries/measurement/peak.h"

#include <limits>

namespace NoxHost
{

/// One period of one channel as a source delivers it, before it becomes an entry.
struct RawPeriod
{
    qint32 channel = 0; ///< 0-based
    quint64 index = 0;  ///< period index, common to all channels
    qint64 startTicks = 0;
    qint64 endTicks = 0;
    quint32 sampleRate = 0; ///< ticks per second; 0 yields no reading
    double pdHardwareCorrection = 1.0;
    double pdCalibration = 0.0; ///< pC per corrected unit; at most 1e-12 in magnitude means not calibrated
    double tvHardwareCorrection = 1.0;
    double tvCalibration = 0.0;
    quint32 flags = 0; ///< period flags: 1 dirty, 4 millivolts, 8 discarded
    CommonNOX::Entries::Results::Space2D::PeakVector peaks;
    /// The peak of the test voltage in force; NaN when it is not known.
    double testVoltage = std::numeric_limits<double>::quiet_NaN();
};

} // namespace NoxHost
