#pragma once

#include "entries/measurement/evaluated_event.h"
#include "entries/measurement/peak.h"
#include "nox_export.h"

namespace CommonNOX::Data
{

/// How raw peaks become events.
struct EventScale
{
    qint64 startTime = 0;     ///< ticks
    double extent = 1.0;      ///< ticks from start to end, above 0
    double phaseSpan = 360.0; ///< degrees over the extent
    double phaseOffset = 0.0; ///< degrees
    double chargeScale = 1.0;
    double voltageScale = 1.0;
    bool suppressGated = false; ///< whether events marked as gated are left out of the statistics
};

/// Charge statistics of the counted events. Magnitudes; all 0 without events. With events of which none counts, the
/// absolute minimum is the largest finite double.
struct EventStatistics
{
    double absoluteMaximum = 0.0;
    double positiveMaximum = 0.0;
    double negativeMaximum = 0.0;
    double absoluteMinimum = 0.0;
    quint32 positiveCount = 0; ///< a charge of exactly 0 is positive
    quint32 negativeCount = 0;
    quint32 gatedCount = 0; ///< marked events, counted or not
};

/// Fills `count` events from `count` peaks and gathers their statistics in the same pass. The results are the same
/// to the last bit on every machine. Any thread.
NOX_EXPORT EventStatistics BuildEvents(const Entries::Results::Space2D::PeakData *peaks, int count,
                                       const EventScale &scale, EvaluatedEvent *events);

/// The same statistics to the last bit, without the events.
NOX_EXPORT EventStatistics GatherStatistics(const Entries::Results::Space2D::PeakData *peaks, int count,
                                            const EventScale &scale);

} // namespace CommonNOX::Data
