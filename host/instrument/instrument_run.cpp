#include "host/instrument/instrument_run.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace NoxHost
{

namespace
{

constexpr quint32 ScopeSampleRate = 10'000;
/// Looking again now and then keeps long waits exact.
constexpr double LongestWaitMs = 60'000.0;

void amplify(RawPeriod &period, double gain)
{
    if (gain == 1.0)
        return;
    constexpr double Lowest = std::numeric_limits<qint32>::min();
    constexpr double Highest = std::numeric_limits<qint32>::max();
    for (auto &peak : period.peaks)
        peak.amplitude = qint32(std::clamp(std::round(peak.amplitude * gain), Lowest, Highest));
    period.pdHardwareCorrection = 1.0 / gain;
}

} // namespace

InstrumentRun::InstrumentRun(const SimulatedSignalSource &source, const InstrumentParameters &parameters,
                             const InstrumentSettings &settings)
    : m_source(source), m_parameters(parameters), m_settings(settings), m_dropped(std::size_t(settings.signal.channels))
{}

void InstrumentRun::start()
{
    if (m_isRunning)
        return;
    m_isRunning = true;
    m_firstIndex = m_index;
    m_time.start();
}

QByteArray InstrumentRun::stop()
{
    m_isRunning = false;
    QByteArray reports;
    for (int channel = 0; channel < int(m_dropped.size()); ++channel)
        reports += takeReport(channel);
    return reports;
}

std::optional<qint64> InstrumentRun::waitMs() const
{
    if (!m_isRunning || m_index >= m_source.periodCount())
        return std::nullopt;
    if (m_settings.speed == 0.0 || m_nextChannel >= 0)
        return 0;
    // A period is there when it has ended.
    const qint64 ticks = m_source.startTicks(m_index + 1) - m_source.startTicks(m_firstIndex);
    const double dueMs = double(ticks) / m_settings.signal.sampleRate / m_settings.speed * 1e3;
    return qint64(std::ceil(std::clamp(dueMs - double(m_time.nsecsElapsed()) * 1e-6, 0.0, LongestWaitMs)));
}

QByteArray InstrumentRun::step(qint64 unsentBytes)
{
    const qint64 limit = m_settings.limits.unsentBytes;
    QByteArray bytes;
    if (m_nextChannel < 0) {
        // Only with room for a good while blocks are sent again, so that a slow host gets few long gaps.
        m_isDropping = unsentBytes > (m_isDropping ? limit / 2 : limit);
        if (!m_isDropping)
            bytes = makeScope();
        m_nextChannel = 0;
        return bytes;
    }
    m_isDropping = m_isDropping || unsentBytes > limit;
    const bool isEnabled = m_parameters.channel(m_nextChannel).isEnabled;
    if (!m_isDropping)
        bytes = takeReport(m_nextChannel) + (isEnabled ? makeBlock(m_nextChannel) : QByteArray());
    else if (isEnabled)
        noteDropped(m_nextChannel, bytes);
    if (++m_nextChannel == m_settings.signal.channels) {
        m_nextChannel = -1;
        ++m_index;
    }
    return bytes;
}

QByteArray InstrumentRun::makeScope() const
{
    WireVoltageScope scope;
    scope.index = m_index;
    scope.startTicks = m_source.startTicks(m_index);
    scope.sampleRate = ScopeSampleRate;
    scope.calibration = m_settings.signal.tvCalibration;
    const qint64 end = m_source.startTicks(m_index + 1);
    const qint64 rate = m_settings.signal.sampleRate;
    scope.samples.reserve(int((end - scope.startTicks) * ScopeSampleRate / rate) + 1);
    for (qint64 ticks = scope.startTicks; ticks < end;
         ticks = scope.startTicks + scope.samples.size() * rate / ScopeSampleRate)
        scope.samples.append(m_source.rawVoltageAt(ticks));
    return writeVoltageScope(scope);
}

QByteArray InstrumentRun::makeBlock(int channel) const
{
    std::optional<RawPeriod> period = m_source.period(channel, m_index);
    if (!period)
        return {};
    const InstrumentParameters::Channel &parameters = m_parameters.channel(channel);
    period->pdCalibration = parameters.pdCalibration;
    amplify(*period, parameters.gain);
    return writePeriodBlock(*period);
}

void InstrumentRun::noteDropped(int channel, QByteArray &reports)
{
    std::optional<OverrunReport> &dropped = m_dropped[std::size_t(channel)];
    // Periods for which the channel was disabled are not missing.
    if (dropped && dropped->to + 1 != m_index)
        reports += takeReport(channel);
    if (!dropped)
        dropped = OverrunReport{channel, m_index, m_index};
    dropped->to = m_index;
}

QByteArray InstrumentRun::takeReport(int channel)
{
    std::optional<OverrunReport> &dropped = m_dropped[std::size_t(channel)];
    const QByteArray report = dropped ? writeOverrun(*dropped) : QByteArray();
    dropped.reset();
    return report;
}

} // namespace NoxHost
