#pragma once

#include <QtGlobal>

#include <algorithm>
#include <map>
#include <optional>

namespace NoxHost
{

/// Measuring time by the clock of the instrument, and where it ends. One thread.
class MeasuringLimits
{
public:
    /// Periods a channel.
    void setPeriodLimit(quint64 periods) { m_periodLimit = periods; }
    /// In seconds of measuring time; a period that begins later is not admitted.
    void setTimeLimit(double seconds) { m_timeLimit = seconds; }
    std::optional<quint64> getPeriodLimit() const { return m_periodLimit; }

    /// Whether a period is within the limits; notes it when it is. One without a time of its own goes along with the
    /// others.
    bool admit(int channel, qint64 startTicks, qint64 endTicks, quint32 sampleRate)
    {
        quint64 &count = m_admitted[channel];
        if ((m_periodLimit && count >= *m_periodLimit) || !noteTime(startTicks, endTicks, sampleRate))
            return false;
        ++count;
        return true;
    }
    /// The instrument's clock begins anew; time goes on from where it is.
    void restartClock()
    {
        m_firstTicks.reset();
        m_secondsBefore = m_seconds;
    }

    quint64 getAdmitted(int channel) const
    {
        const auto found = m_admitted.find(channel);
        return found == m_admitted.end() ? 0 : found->second;
    }
    bool isTimeOver() const { return m_isTimeOver; }
    /// Gaps of the connection left out.
    double getSeconds() const { return m_seconds; }

private:
    bool noteTime(qint64 startTicks, qint64 endTicks, quint32 sampleRate)
    {
        if (sampleRate == 0 || endTicks <= startTicks)
            return !m_isTimeOver;
        if (!m_firstTicks)
            m_firstTicks = startTicks;
        const auto secondsAt = [&](qint64 ticks) {
            return m_secondsBefore + (double(ticks) - double(*m_firstTicks)) / sampleRate;
        };
        if (m_timeLimit && secondsAt(startTicks) >= *m_timeLimit) {
            m_isTimeOver = true;
            return false;
        }
        m_seconds = std::max(m_seconds, secondsAt(endTicks));
        return true;
    }

    std::optional<quint64> m_periodLimit;
    std::optional<double> m_timeLimit;
    std::map<int, quint64> m_admitted; // by channel
    bool m_isTimeOver = false;
    std::optional<qint64> m_firstTicks;
    double m_secondsBefore = 0.0;
    double m_seconds = 0.0;
};

} // namespace NoxHost
