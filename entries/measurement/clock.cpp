#include "entries/measurement/clock.h"

#include <algorithm>
#include <atomic>
#include <cmath>

namespace CommonNOX
{

namespace
{

// The cast itself is undefined outside the range; not-a-number fails the comparison as well.
quint64 toCount(double value)
{
    return value >= 0.0 && value < 0x1p64 ? static_cast<quint64>(value) : 0;
}

/// A conversion factor that the first usable value fixes for the life of the process.
///
/// Deliberate: the whole system runs at one sampling rate, and results must not begin to differ because a caller
/// passes another one later. 0 stands for "not fixed yet" and is never stored.
class FirstFactor
{
public:
    template <typename Compute>
    double get(double sampleRate, Compute compute)
    {
        // The value stands for itself, nothing else is published with it: relaxed order is enough.
        double factor = m_factor.load(std::memory_order_relaxed);
        if (factor != 0.0)
            return factor;
        if (sampleRate == 0.0 || !std::isfinite(sampleRate))
            return 0.0;
        const double candidate = compute(sampleRate);
        if (candidate == 0.0 || !std::isfinite(candidate))
            return 0.0;
        return m_factor.compare_exchange_strong(factor, candidate, std::memory_order_relaxed) ? candidate : factor;
    }

private:
    std::atomic<double> m_factor = 0.0;
};

constinit FirstFactor samplesPerMs;
constinit FirstFactor msPerSample;

} // namespace

Clock::Clock(double sampleRate) : m_sampleRate(sampleRate) {}

Clock::~Clock() = default;

double Clock::secondsOf(quint64 ticks) const
{
    return m_sampleRate != 0.0 ? static_cast<double>(ticks) / m_sampleRate : 0.0;
}

double Clock::addTicks(quint64 ticks)
{
    m_currentTicks += ticks;
    if (!m_started)
        m_started = m_currentTicks != 0;
    m_time = secondsOf(m_currentTicks - m_startTicks);
    return m_time;
}

double Clock::updateClock(quint64 ticks)
{
    if (ticks < m_currentTicks)
        return m_time;
    if (m_started) {
        m_time = secondsOf(ticks - m_startTicks);
    } else {
        // Kept on purpose: counters report 0 until the instrument samples, so 0 is no time zero.
        m_startTicks = ticks;
        m_started = ticks != 0;
    }
    m_currentTicks = ticks;
    return m_time;
}

void Clock::setSampleRate(double sampleRate)
{
    const double smaller = std::min(std::abs(m_sampleRate), std::abs(sampleRate));
    if (!(std::abs(m_sampleRate - sampleRate) * 1e12 > smaller))
        return;
    m_sampleRate = sampleRate;
    if (!m_started)
        m_started = m_currentTicks != 0;
    m_time = secondsOf(m_currentTicks - m_startTicks);
}

void Clock::resetClock()
{
    *this = Clock(m_sampleRate);
}

quint64 Clock::convertSecondsToTicks(double seconds) const
{
    return toCount(m_sampleRate * seconds);
}

double Clock::convertTicksToSeconds(quint64 ticks) const
{
    return secondsOf(ticks);
}

double Clock::convertTicksToTime(quint64 ticks) const
{
    return getDifferenceToClockTime(ticks) + m_time;
}

double Clock::getDifferenceToClockTime(quint64 ticks) const
{
    return secondsOf(ticks - m_currentTicks);
}

quint64 Clock::convertPhaseShiftToClockTicks(double phase, double frequency) const
{
    // Whole hundredths in a double: the remainder is exact, as it would be in integers, and defined for any phase.
    const double turn = std::fmod(std::trunc(phase * 100.0), 36000.0) / 100.0;
    if (frequency == 0.0 || turn == 0.0)
        return 0;
    return toCount((1.0 / frequency) * (turn / 360.0) * m_sampleRate);
}

quint64 Clock::ConvertMsToSamples(double milliseconds, double sampleRate)
{
    return toCount(milliseconds * samplesPerMs.get(sampleRate, [](double rate) { return rate / 1000.0; }));
}

double Clock::ConvertSamplesToMs(quint64 samples, double sampleRate)
{
    return static_cast<double>(samples) * msPerSample.get(sampleRate, [](double rate) { return 1000.0 / rate; });
}

} // namespace CommonNOX
