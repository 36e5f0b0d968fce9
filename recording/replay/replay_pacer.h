#pragma once

#include "nox_export.h"

#include <QtGlobal>

#include <optional>

namespace CommonNOX::Importer
{

/// When periods of a recording are due, by their own times: gaps and jumps of more than a second are not waited for,
/// and who comes late does not hurry for more than a second's worth. One thread at a time.
class NOX_EXPORT ReplayPacer
{
public:
    /// Milliseconds to wait for a period that starts at these ticks; 0 when it is due. `now` is a monotonic time in
    /// milliseconds. A speed of zero or less makes every period due, and so does one that is no number.
    double getWait(qint64 startTicks, quint32 sampleRate, double speed, double nowMs);
    /// The period that was asked about has been handed out.
    void advance();

private:
    std::optional<double> m_dueMs; // of the latest period that was handed out
    double m_nextDueMs = 0.0;
    qint64 m_lastTicks = 0;
    qint64 m_nextTicks = 0;
};

} // namespace CommonNOX::Importer
