#pragma once

#include "host/pulses/raw_period.h"
#include "host/simulated/discharge_source.h"
#include "host/simulated/voltage_profile.h"

#include <optional>
#include <vector>

namespace NoxHost
{

/// What a simulated instrument measures. Every field has a default that is valid.
struct SimulatedSignalSettings
{
    quint64 seed = 1;
    int channels = 1; ///< 1 to 1024
    std::vector<DischargeKind> kinds = {DischargeKind::Void, DischargeKind::Surface, DischargeKind::Corona,
                                        DischargeKind::Noise}; ///< the channels take these in turn
    double powerFrequency = 50.0;                              ///< Hz, 0.01 to 1000, in steps of 0.001
    quint32 sampleRate = 10'000'000; ///< ticks per second, 10 kHz to 1 GHz and at least 1000 a period
    double pulsesPerPeriod = 50.0;   ///< mean at the highest voltage of the profile, 0 to 100000
    double pdCalibration = 0.01;     ///< pC per raw unit, 1e-4 to 1000
    double tvCalibration = 5e-5;     ///< kV per raw unit, 1e-6 to 1
    VoltageProfile profile;
    bool repeatProfile = false; ///< begin anew after the last point, instead of staying there

    /// One sentence about the first field out of its range; empty when all are fine.
    QString error() const;
};

/// Makes the periods of a simulated instrument: contiguous periods of one cycle, pulses in order of time.
///
/// Seed, channel and index determine a period, so periods may be made in any order and on several threads at once; the
/// bytes are the same on every machine that has IEEE 754 doubles and does not contract multiplications with additions.
/// The test voltage rises through zero at the start of each period. The mean number of pulses grows in proportion to
/// the voltage above the inception of the kind; that of noise is constant. No pulse is gated, no period dirty.
class SimulatedSignalSource
{
public:
    /// Settings with an error() give a source without periods.
    explicit SimulatedSignalSource(const SimulatedSignalSettings &settings);

    const SimulatedSignalSettings &settings() const { return m_settings; }
    double powerFrequency() const;                        ///< Hz
    DischargeKind kind(int channel) const;                ///< for a channel that exists
    quint64 periodCount() const { return m_periodCount; } ///< periods that end within 2^53 ticks

    /// Period @p index of a channel; nothing for a channel that does not exist or an index from periodCount() on.
    std::optional<RawPeriod> period(int channel, quint64 index) const;
    /// The period after the last one that this function gave for the channel, from index 0 on. Not thread-safe.
    std::optional<RawPeriod> nextPeriod(int channel);

    /// Start of a period in ticks, which is the end of the one before; for indices to periodCount().
    qint64 startTicks(quint64 index) const;
    /// The test voltage's r.m.s. value in kV around a time in ticks.
    double kilovoltsAt(qint64 ticks) const;
    /// The test voltage at a time in ticks, not below 0, in raw units of tvCalibration.
    qint32 rawVoltageAt(qint64 ticks) const;

private:
    qint32 rawVoltage(qint64 ticks, qint64 start, qint64 end) const;

    SimulatedSignalSettings m_settings;
    qint64 m_milliHertz = 50'000;
    quint64 m_periodCount = 0;
    std::vector<quint64> m_next; // index of each channel's next period
};

} // namespace NoxHost
