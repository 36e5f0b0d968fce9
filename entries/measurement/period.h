#pragma once

#include "entries/data_entry.h"
#include "entries/measurement/display_data.h"
#include "entries/measurement/evaluated_event.h"
#include "entries/measurement/event_builder.h"
#include "entries/measurement/gating_status.h"
#include "entries/measurement/peak.h"
#include "nox_export.h"

#include <QString>

#include <limits>
#include <memory>
#include <shared_mutex>

namespace CommonNOX::Entries::Results::Space2D
{
class PeriodV1;
class PeriodV2;
} // namespace CommonNOX::Entries::Results::Space2D

namespace CommonNOX::Data
{

/// One power-cycle period of one channel, its pulses scaled into events with their charge statistics.
///
/// Built once on the evaluating thread of its channel, then shared read-only. Every operation takes the period's own
/// read-write lock; none of them calls another that does.
class NOX_EXPORT Period
{
public:
    /// When events are built: in one pass with the statistics, or when somebody asks for them, for those who mostly
    /// read statistics alone.
    enum class Events { AtOnce, WhenAsked };

    explicit Period(Events events = Events::AtOnce);
    Period(const Period &) = delete;
    Period &operator=(const Period &) = delete;
    ~Period();

    /// Builds the period from its entry. `phaseSpan` (degrees, at most 360 are used) is what start to end covers,
    /// `phaseOffset` is added to every phase. `ignoreCorrections` leaves corrections and calibrations out of the
    /// scales; whether the period is calibrated shows all the same. False, without events, when the sample rate is
    /// 0 or the end is not after the start.
    bool preProcess(const std::shared_ptr<const Entries::Results::Space2D::PeriodV1> &entry,
                    const GatingStatus &gatingStatus, bool invert, double phaseOffset, double phaseSpan,
                    bool ignoreCorrections);
    bool preProcess(const std::shared_ptr<const Entries::Results::Space2D::PeriodV2> &entry,
                    const GatingStatus &gatingStatus, bool invert, double phaseOffset, double phaseSpan,
                    bool ignoreCorrections);

    /// Fills the columns of a diagram: the events that show as signal and, apart, those that gating suppresses (with
    /// a status of Suppressing; otherwise none). `magnitudes` turns charges into their magnitudes. False without a
    /// record for the signal; the other may be null, then suppressed events are left out.
    bool postProcess(bool magnitudes, DisplayData *signal, DisplayData *gatedSignal,
                     const GatingStatus &gatingStatus) const;

    qint64 getStartTime() const;    ///< ticks
    qint64 getStopTime() const;     ///< ticks
    quint32 getSampleRate() const;  ///< ticks per second
    quint32 getPeriodFlags() const; ///< bits of PeriodFlags
    qint64 getDuration() const;     ///< ticks
    /// By the factor of the first period that the process built, whatever this one's rate: the whole system runs at
    /// one sampling rate. Kept on purpose; no reading uses it.
    double getDurationInMs() const;

    /// With Events::WhenAsked the first call builds them; they are kept.
    EvaluatedEventVector getEvaluatedEvents() const;
    quint32 getNumberOfElements() const;
    quint32 getNumberOfPositiveEvents() const;
    quint32 getNumberOfNegativeEvents() const;
    quint32 getNumberOfGatedEvents() const;
    double getAbsoluteSignalValueMaximum() const;
    double getAbsolutePositiveSignalValueMaximum() const;
    double getAbsoluteNegativeSignalValueMaximum() const;
    double getAbsoluteSignalValueMinimum() const;
    bool isPdCalibrated() const;

    /// The peak of the test voltage in force, as received with the period; NaN when it is not known.
    double getTestVoltage() const;
    void setTestVoltage(double voltage);

    bool isTvCalibrated() const;

    bool isDirty() const;
    bool isDiscarded() const;
    /// The duration in ticks and the sample rate are not 0.
    bool isValid() const;
    /// -1 before the start, 1 at the end or after it, else 0.
    int isBetween(qint64 time) const;
    bool isTimeIdenticalTo(const Period &other) const;
    /// "mV", "pC" or, without a calibration, "p.u.".
    QString getPDUnit() const;

private:
    struct Times
    {
        qint64 start = 0;
        qint64 end = 0;
        qint64 getDuration() const { return qint64(quint64(end) - quint64(start)); }
        friend bool operator==(const Times &, const Times &) = default;
    };

    bool build(const DataEntry *entry, GatingStatus gatingStatus, bool invert, double phaseOffset, double phaseSpan,
               bool ignoreCorrections);

    mutable std::shared_mutex m_lock;
    Times m_times;
    quint32 m_sampleRate = 0;
    quint32 m_flags = 0;
    double m_durationInMs = 0.0;
    double m_testVoltage = std::numeric_limits<double>::quiet_NaN();
    Entries::Results::Space2D::PeakVector m_peaks;
    EventScale m_scale;
    const Events m_whenBuilt;
    mutable EvaluatedEventVector m_events; // as many as there are peaks once somebody has asked for them
    EventStatistics m_statistics;
    bool m_pdCalibrated = false;
    bool m_tvCalibrated = false;
};

} // namespace CommonNOX::Data
