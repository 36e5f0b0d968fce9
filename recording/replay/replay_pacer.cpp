#include "recording/replay/replay_pacer.h"

#include <algorithm>

namespace CommonNOX::Importer
{

namespace
{

constexpr double LongestGap = 1.0; // seconds
constexpr double LatestMs = 1000.0;

} // namespace

double ReplayPacer::getWait(qint64 startTicks, quint32 sampleRate, double speed, double nowMs)
{
    m_nextTicks = startTicks;
    m_nextDueMs = nowMs;
    if (!(speed > 0.0))
        return 0.0;
    if (!m_dueMs || sampleRate == 0)
        return 0.0;
    const double gap = (double(startTicks) - double(m_lastTicks)) / sampleRate;
    m_nextDueMs = std::max(*m_dueMs, nowMs - LatestMs);
    if (gap > 0.0 && gap <= LongestGap)
        m_nextDueMs += gap * 1000.0 / speed;
    else if (gap <= 0.0 && gap >= -LongestGap)
        // Of another channel, which runs a little behind.
        m_nextTicks = m_lastTicks;
    return std::max(0.0, m_nextDueMs - nowMs);
}

void ReplayPacer::advance()
{
    m_dueMs = m_nextDueMs;
    m_lastTicks = m_nextTicks;
}

} // namespace CommonNOX::Importer
