#pragma once

#include "host/instrument/instrument_parameters.h"
#include "host/instrument/instrument_settings.h"
#include "host/protocol/messages.h"

#include <QElapsedTimer>

#include <optional>
#include <vector>

namespace NoxHost
{

/// What one host gets between start and stop: for each period the voltage scope, then the blocks of the channels in
/// turn.
///
/// The bytes depend on the signal settings and parameters alone, not on time, unless blocks are dropped.
class InstrumentRun
{
public:
    /// Source, parameters and settings must outlive it. The parameters may change at any time and hold for the blocks
    /// that follow.
    InstrumentRun(const SimulatedSignalSource &source, const InstrumentParameters &parameters,
                  const InstrumentSettings &settings);

    bool isRunning() const { return m_isRunning; }
    /// Some of the blocks of the present period were sent and others not.
    bool isWithinPeriod() const { return m_nextChannel >= 0; }
    /// Goes on where it was stopped, at first with period 0.
    void start();
    /// The reports about blocks that were dropped and not told of.
    QByteArray stop();

    /// Milliseconds until step() has something to do, 0 for now; nothing when it is stopped or at its end.
    std::optional<qint64> waitMs() const;
    /// The next line, where a report of dropped blocks may stand before. Empty when there was nothing to send, or when
    /// it was dropped because @p unsentBytes exceed the limit.
    QByteArray step(qint64 unsentBytes);

private:
    QByteArray makeScope() const;
    QByteArray makeBlock(int channel) const;
    void noteDropped(int channel, QByteArray &reports);
    QByteArray takeReport(int channel);

    const SimulatedSignalSource &m_source;
    const InstrumentParameters &m_parameters;
    const InstrumentSettings &m_settings;
    bool m_isRunning = false;
    bool m_isDropping = false;
    quint64 m_index = 0;
    int m_nextChannel = -1; // -1 before the scope of the period
    quint64 m_firstIndex = 0;
    QElapsedTimer m_time;                                // since the start with m_firstIndex
    std::vector<std::optional<OverrunReport>> m_dropped; // a channel, not told of yet
};

} // namespace NoxHost
