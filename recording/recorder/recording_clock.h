#pragma once

#include <QtGlobal>

#include <algorithm>
#include <limits>
#include <map>
#include <optional>

namespace CommonNOX::PD::Recording
{

/// The time line of a recording in seconds, from the periods' own ticks.
///
/// It begins with the first period. Where an instrument's clock begins anew, which shows by ticks that lie more than a
/// second before the end of what came last on the same channel, the line goes on without a gap. Channels may be apart
/// by any time, as blocks come whole.
class RecordingClock
{
public:
    /// The second in which a period starts, and notes where it ends. One without a sample rate starts where the last
    /// one did.
    quint32 note(int channel, qint64 startTicks, qint64 endTicks, quint32 sampleRate)
    {
        if (sampleRate == 0)
            return m_second;
        if (!m_origin)
            m_origin = startTicks;
        double &channelEnd = m_channelEnds[channel];
        if (secondsSince(startTicks, sampleRate) < channelEnd - LongestStepBack)
            m_origin = qint64(double(startTicks) - m_end * sampleRate);
        // In whole numbers: a period that starts with a second belongs to it.
        const quint64 ticks = startTicks > *m_origin ? quint64(startTicks) - quint64(*m_origin) : 0;
        m_second = quint32(std::min<quint64>(ticks / sampleRate, std::numeric_limits<quint32>::max()));
        m_start = secondsSince(startTicks, sampleRate);
        channelEnd = std::max(channelEnd, secondsSince(endTicks, sampleRate));
        m_end = std::max(m_end, channelEnd);
        return m_second;
    }

    /// The start of the period that was noted last, in seconds.
    double getStart() const { return m_start; }
    /// The end of the latest period, in seconds.
    double getEnd() const { return m_end; }

private:
    static constexpr double LongestStepBack = 1.0;

    double secondsSince(qint64 ticks, quint32 sampleRate) const
    {
        return (double(ticks) - double(*m_origin)) / sampleRate;
    }

    std::optional<qint64> m_origin;      // ticks
    std::map<int, double> m_channelEnds; // seconds
    double m_start = 0.0;
    double m_end = 0.0;
    quint32 m_second = 0;
};

} // namespace CommonNOX::PD::Recording
