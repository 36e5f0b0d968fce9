#include "host/simulated/simulated_signal_source.h"

#include <algorithm>
#include <cmath>

namespace NoxHost
{

using CommonNOX::Entries::Results::Space2D::PeakData;

namespace
{

constexpr qint64 LastTick = qint64(1) << 53;
constexpr double Sqrt2 = 1.4142135623730951;
constexpr int MinimumTicksPerPeriod = 1000;

// Comparisons that a value that is no number fails.
bool isWithin(double value, double minimum, double maximum)
{
    return value >= minimum && value <= maximum;
}

} // namespace

QString SimulatedSignalSettings::error() const
{
    if (channels < 1 || channels > 1024)
        return QStringLiteral("The number of channels must be 1 to 1024.");
    if (kinds.empty())
        return QStringLiteral("At least one kind of source is needed.");
    if (!isWithin(powerFrequency, 0.01, 1000.0))
        return QStringLiteral("The power frequency must be 0.01 to 1000 Hz.");
    if (sampleRate < 10'000 || sampleRate > 1'000'000'000)
        return QStringLiteral("The sample rate must be 10000 to 1000000000 ticks per second.");
    if (double(sampleRate) < powerFrequency * MinimumTicksPerPeriod)
        return QStringLiteral("The sample rate must give at least %1 ticks a period.").arg(MinimumTicksPerPeriod);
    if (!isWithin(pulsesPerPeriod, 0.0, 100'000.0))
        return QStringLiteral("The number of pulses a period must be 0 to 100000.");
    if (!isWithin(pdCalibration, 1e-4, 1000.0))
        return QStringLiteral("The charge calibration must be 0.0001 to 1000 pC per unit.");
    if (!isWithin(tvCalibration, 1e-6, 1.0))
        return QStringLiteral("The voltage calibration must be 0.000001 to 1 kV per unit.");
    if (repeatProfile && profile.duration() <= 0.0)
        return QStringLiteral("A voltage profile of no duration cannot be repeated.");
    return {};
}

SimulatedSignalSource::SimulatedSignalSource(const SimulatedSignalSettings &settings) : m_settings(settings)
{
    if (!settings.error().isEmpty()) {
        m_settings.channels = 0;
        return;
    }
    m_milliHertz = std::llround(settings.powerFrequency * 1000.0);
    m_next.assign(std::size_t(settings.channels), 0);
    // A period less than would fit, so that no rounding needs a second thought.
    m_periodCount = quint64(LastTick / (qint64(settings.sampleRate) * 1000 / m_milliHertz + 1)) - 1;
}

double SimulatedSignalSource::powerFrequency() const
{
    return double(m_milliHertz) / 1000.0;
}

DischargeKind SimulatedSignalSource::kind(int channel) const
{
    return m_settings.kinds[std::size_t(channel) % m_settings.kinds.size()];
}

// In whole numbers, so that cycles which are no whole number of ticks do not drift.
qint64 SimulatedSignalSource::startTicks(quint64 index) const
{
    const qint64 numerator = qint64(m_settings.sampleRate) * 1000;
    const qint64 periods = qint64(index);
    return periods * (numerator / m_milliHertz) + periods * (numerator % m_milliHertz) / m_milliHertz;
}

double SimulatedSignalSource::kilovoltsAt(qint64 ticks) const
{
    double seconds = double(ticks) / m_settings.sampleRate;
    if (m_settings.repeatProfile)
        seconds -= std::floor(seconds / m_settings.profile.duration()) * m_settings.profile.duration();
    return m_settings.profile.kilovoltsAt(seconds);
}

qint32 SimulatedSignalSource::rawVoltageAt(qint64 ticks) const
{
    if (m_periodCount == 0 || ticks < 0 || ticks >= startTicks(m_periodCount))
        return 0;
    // The estimate may be one off next to a border, because starts are rounded down.
    auto index = quint64(double(ticks) * double(m_milliHertz) / (double(m_settings.sampleRate) * 1000.0));
    while (startTicks(index) > ticks)
        --index;
    while (startTicks(index + 1) <= ticks)
        ++index;
    return rawVoltage(ticks, startTicks(index), startTicks(index + 1));
}

qint32 SimulatedSignalSource::rawVoltage(qint64 ticks, qint64 start, qint64 end) const
{
    const double peakKilovolts = kilovoltsAt(ticks) * Sqrt2;
    const double turn = double(ticks - start) / double(end - start);
    return qint32(std::llround(peakKilovolts * portableSine(turn) / m_settings.tvCalibration));
}

std::optional<RawPeriod> SimulatedSignalSource::period(int channel, quint64 index) const
{
    if (channel < 0 || channel >= m_settings.channels || index >= m_periodCount)
        return std::nullopt;
    RawPeriod period;
    period.channel = channel;
    period.index = index;
    period.startTicks = startTicks(index);
    period.endTicks = startTicks(index + 1);
    period.sampleRate = m_settings.sampleRate;
    period.pdCalibration = m_settings.pdCalibration;
    period.tvCalibration = m_settings.tvCalibration;

    const DischargeKind source = kind(channel);
    const double inception = inceptionKilovolts(source);
    const double kilovolts = kilovoltsAt(period.startTicks);
    if (kilovolts <= inception)
        return period;
    const double part = source == DischargeKind::Noise
                            ? 1.0
                            : (kilovolts - inception) / (m_settings.profile.highestKilovolts() - inception);
    PortableRandom random(m_settings.seed, quint64(channel), index);
    const int count = random.poisson(m_settings.pulsesPerPeriod * part);
    const qint64 duration = period.endTicks - period.startTicks;
    period.peaks.reserve(count);
    for (int i = 0; i < count; ++i) {
        const Discharge discharge = drawDischarge(source, kilovolts, random);
        PeakData peak;
        peak.amplitude = qint32(std::llround(discharge.picocoulombs / m_settings.pdCalibration));
        peak.time = period.startTicks + std::min(qint64(discharge.turn * double(duration)), duration - 1);
        peak.voltage = rawVoltage(peak.time, period.startTicks, period.endTicks);
        period.peaks.append(peak);
    }
    // Equal times in the order of their amplitudes: the order that a library's sort leaves otherwise is its own.
    std::sort(period.peaks.begin(), period.peaks.end(), [](const PeakData &a, const PeakData &b) {
        return a.time != b.time ? a.time < b.time : a.amplitude < b.amplitude;
    });
    return period;
}

std::optional<RawPeriod> SimulatedSignalSource::nextPeriod(int channel)
{
    if (channel < 0 || channel >= m_settings.channels)
        return std::nullopt;
    quint64 &next = m_next[std::size_t(channel)];
    std::optional<RawPeriod> result = period(channel, next);
    if (result)
        ++next;
    return result;
}

} // namespace NoxHost
