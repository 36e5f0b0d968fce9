#pragma once

#include "nox_export.h"

#include <QtGlobal>

namespace CommonNOX
{

/// Turns the sample counter (ticks) of an instrument into seconds since the first tick that was seen.
///
/// Tick differences are unsigned: a tick below the reference is not a negative time but a very large one. Callers pass
/// non-decreasing ticks. Results that do not fit an unsigned 64-bit count (negative, not a number, too large) are 0,
/// and so is every time of a clock whose sample rate is 0.
///
/// Not locked: a clock belongs to one owner. The two static conversions may be called from any thread.
class NOX_EXPORT Clock
{
public:
    /// @param sampleRate ticks per second
    explicit Clock(double sampleRate);
    Clock(const Clock &) = default;
    Clock &operator=(const Clock &) = default;
    virtual ~Clock();

    /// Advances by @p ticks; time zero of a clock that starts this way is tick 0.
    /// @return the clock time in seconds
    double addTicks(quint64 ticks);

    /// Moves to the counter value @p ticks. The first value becomes time zero, except that a value of 0 leaves the
    /// clock unstarted, so that time zero is the first value that is not 0. A value below the present one is ignored.
    /// @return the clock time in seconds
    double updateClock(quint64 ticks);

    /// Applies @p sampleRate (ticks per second) and computes the time anew, unless it equals the present rate to one
    /// part in 10^12.
    void setSampleRate(double sampleRate);

    /// Back to the unstarted clock at tick 0. The sample rate stays.
    void resetClock();

    quint64 convertSecondsToTicks(double seconds) const;
    double convertTicksToSeconds(quint64 ticks) const;

    /// The clock time in seconds at the counter value @p ticks, which is not before the present one.
    double convertTicksToTime(quint64 ticks) const;

    /// Seconds from the present counter value to @p ticks, which is not before it.
    double getDifferenceToClockTime(quint64 ticks) const;

    /// The ticks that pass during a phase shift.
    /// @param phase degrees; taken to hundredths, whole turns are dropped. Negative shifts yield 0.
    /// @param frequency power frequency in Hz; 0 yields 0
    quint64 convertPhaseShiftToClockTicks(double phase, double frequency) const;

    /// Samples in @p milliseconds at @p sampleRate samples per second.
    ///
    /// The first usable rate of the process decides for good: later calls use that rate, whatever they pass. Until
    /// then a rate of 0 or one that is not finite yields 0 and decides nothing.
    static quint64 ConvertMsToSamples(double milliseconds, double sampleRate);

    /// Milliseconds that @p samples take at @p sampleRate samples per second. Keeps its first usable rate like
    /// ConvertMsToSamples(), but each of the two keeps its own.
    static double ConvertSamplesToMs(quint64 samples, double sampleRate);

private:
    double secondsOf(quint64 ticks) const;

    quint64 m_startTicks = 0;
    bool m_started = false;
    quint64 m_currentTicks = 0;
    double m_time = 0.0; // seconds
    double m_sampleRate; // ticks per second
};

} // namespace CommonNOX
