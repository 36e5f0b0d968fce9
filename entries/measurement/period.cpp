#include "entries/measurement/period.h"

#include "entries/catalogue/results_pd.h"
#include "entries/measurement/event_buffer_pool.h"
#include "entries/property_keys.h"

#include <cmath>
#include <mutex>

namespace CommonNOX::Data
{

using namespace Entries::Results::Space2D;
namespace Keys = Entries::Keys;

namespace
{

constexpr double FullTurn = 360.0;
/// A calibration of no more than this is none.
constexpr double SmallestCalibration = 1e-12;

/// The names under which a period is read, made once: a period is built for every power cycle of every channel.
struct Names
{
    const QString startTime = Keys::StartTime;
    const QString endTime = Keys::EndTime;
    const QString sampleRate = Keys::SampleRate;
    const QString flags = Keys::Flags;
    const QString peaks = Keys::Peaks;
    const QString pdCorrection = Keys::PdHardwareCorrection;
    const QString pdCalibration = Keys::PdCalibration;
    const QString tvCorrection = Keys::TvHardwareCorrection;
    const QString tvCalibration = Keys::TvCalibration;
};

const Names &names()
{
    static const Names instance;
    return instance;
}

double millisecondsPerTick(quint32 sampleRate)
{
    // Cached from the first period on purpose, as the clock's conversions are.
    static const double factor = 1000.0 / sampleRate;
    return factor;
}

struct Scale
{
    double factor = 1.0;
    bool calibrated = false;
};

Scale readScale(const DataEntry &entry, const QString &correctionName, const QString &calibrationName,
                bool ignoreCorrections)
{
    const double calibration = entry.get(calibrationName).toDouble();
    Scale scale;
    scale.calibrated = std::abs(calibration) > SmallestCalibration;
    if (ignoreCorrections)
        return scale;
    scale.factor = entry.get(correctionName).toDouble();
    if (scale.calibrated)
        scale.factor *= calibration;
    return scale;
}

} // namespace

Period::Period(Events events) : m_whenBuilt(events) {}

Period::~Period()
{
    EventBufferPool::getInstance().give(std::move(m_events));
}

bool Period::preProcess(const std::shared_ptr<const PeriodV1> &entry, const GatingStatus &gatingStatus, bool invert,
                        double phaseOffset, double phaseSpan, bool ignoreCorrections)
{
    return build(entry.get(), gatingStatus, invert, phaseOffset, phaseSpan, ignoreCorrections);
}

bool Period::preProcess(const std::shared_ptr<const PeriodV2> &entry, const GatingStatus &gatingStatus, bool invert,
                        double phaseOffset, double phaseSpan, bool ignoreCorrections)
{
    return build(entry.get(), gatingStatus, invert, phaseOffset, phaseSpan, ignoreCorrections);
}

bool Period::build(const DataEntry *entry, GatingStatus gatingStatus, bool invert, double phaseOffset, double phaseSpan,
                   bool ignoreCorrections)
{
    const std::unique_lock guard(m_lock);
    EventBufferPool::getInstance().give(std::move(m_events));
    m_events = EvaluatedEventVector();
    m_peaks = PeakVector();
    m_durationInMs = 0.0;
    m_statistics = {};
    m_times = {};
    m_sampleRate = 0;
    m_flags = 0;
    if (!entry)
        return false;
    const PeakVector peaks = entry->get(names().peaks).value<PeakVector>();
    m_times = {entry->get(names().startTime).toLongLong(), entry->get(names().endTime).toLongLong()};
    m_sampleRate = entry->get(names().sampleRate).toUInt();
    m_flags = entry->get(names().flags).toUInt();
    if (m_sampleRate == 0 || m_times.end <= m_times.start)
        return false;
    const double extent = double(quint64(m_times.end) - quint64(m_times.start));
    m_durationInMs = extent * millisecondsPerTick(m_sampleRate);

    const Scale pd = readScale(*entry, names().pdCorrection, names().pdCalibration, ignoreCorrections);
    const Scale tv = readScale(*entry, names().tvCorrection, names().tvCalibration, ignoreCorrections);
    m_pdCalibrated = pd.calibrated;
    m_tvCalibrated = tv.calibrated;

    EventScale &scale = m_scale;
    scale.startTime = m_times.start;
    scale.extent = extent;
    scale.phaseSpan = std::min(phaseSpan, FullTurn);
    scale.phaseOffset = phaseOffset;
    scale.chargeScale = invert ? -pd.factor : pd.factor;
    scale.voltageScale = tv.factor;
    scale.suppressGated = gatingStatus == GatingStatus::Suppressing;
    m_peaks = peaks;
    if (m_whenBuilt == Events::WhenAsked) {
        m_statistics = GatherStatistics(peaks.constData(), peaks.size(), scale);
        return true;
    }
    m_events = EventBufferPool::getInstance().take(peaks.size());
    m_statistics = BuildEvents(peaks.constData(), peaks.size(), scale, m_events.data());
    return true;
}

bool Period::postProcess(bool magnitudes, DisplayData *signal, DisplayData *gatedSignal,
                         const GatingStatus &gatingStatus) const
{
    if (!signal)
        return false;
    const EvaluatedEventVector events = getEvaluatedEvents();
    *signal = {};
    if (gatedSignal)
        *gatedSignal = {};
    for (const EvaluatedEvent &event : events) {
        const bool suppressed = gatingStatus == GatingStatus::Suppressing && (event.flags & PeakFlagGated) != 0;
        DisplayData *target = suppressed ? gatedSignal : signal;
        if (!target)
            continue;
        target->signal.append(magnitudes ? std::abs(event.charge) : event.charge);
        target->phase.append(event.phase);
        target->voltage.append(event.voltage);
    }
    return true;
}

qint64 Period::getStartTime() const
{
    const std::shared_lock guard(m_lock);
    return m_times.start;
}

qint64 Period::getStopTime() const
{
    const std::shared_lock guard(m_lock);
    return m_times.end;
}

quint32 Period::getSampleRate() const
{
    const std::shared_lock guard(m_lock);
    return m_sampleRate;
}

quint32 Period::getPeriodFlags() const
{
    const std::shared_lock guard(m_lock);
    return m_flags;
}

qint64 Period::getDuration() const
{
    const std::shared_lock guard(m_lock);
    return m_times.getDuration();
}

double Period::getDurationInMs() const
{
    const std::shared_lock guard(m_lock);
    return m_durationInMs;
}

EvaluatedEventVector Period::getEvaluatedEvents() const
{
    {
        const std::shared_lock guard(m_lock);
        if (m_events.size() == m_peaks.size())
            return m_events;
    }
    const std::unique_lock guard(m_lock);
    // Another thread may have been faster.
    if (m_events.size() != m_peaks.size()) {
        m_events = EventBufferPool::getInstance().take(m_peaks.size());
        BuildEvents(m_peaks.constData(), m_peaks.size(), m_scale, m_events.data());
    }
    return m_events;
}

quint32 Period::getNumberOfElements() const
{
    const std::shared_lock guard(m_lock);
    return quint32(m_peaks.size());
}

quint32 Period::getNumberOfPositiveEvents() const
{
    const std::shared_lock guard(m_lock);
    return m_statistics.positiveCount;
}

quint32 Period::getNumberOfNegativeEvents() const
{
    const std::shared_lock guard(m_lock);
    return m_statistics.negativeCount;
}

quint32 Period::getNumberOfGatedEvents() const
{
    const std::shared_lock guard(m_lock);
    return m_statistics.gatedCount;
}

double Period::getAbsoluteSignalValueMaximum() const
{
    const std::shared_lock guard(m_lock);
    return m_statistics.absoluteMaximum;
}

double Period::getAbsolutePositiveSignalValueMaximum() const
{
    const std::shared_lock guard(m_lock);
    return m_statistics.positiveMaximum;
}

double Period::getAbsoluteNegativeSignalValueMaximum() const
{
    const std::shared_lock guard(m_lock);
    return m_statistics.negativeMaximum;
}

double Period::getAbsoluteSignalValueMinimum() const
{
    const std::shared_lock guard(m_lock);
    return m_statistics.absoluteMinimum;
}

bool Period::isPdCalibrated() const
{
    const std::shared_lock guard(m_lock);
    return m_pdCalibrated;
}

double Period::getTestVoltage() const
{
    const std::shared_lock guard(m_lock);
    return m_testVoltage;
}

void Period::setTestVoltage(double voltage)
{
    const std::unique_lock guard(m_lock);
    m_testVoltage = voltage;
}

bool Period::isTvCalibrated() const
{
    const std::shared_lock guard(m_lock);
    return m_tvCalibrated;
}

bool Period::isDirty() const
{
    const std::shared_lock guard(m_lock);
    return (m_flags & PeriodFlagDirty) != 0;
}

bool Period::isDiscarded() const
{
    const std::shared_lock guard(m_lock);
    return (m_flags & PeriodFlagDiscarded) != 0;
}

bool Period::isValid() const
{
    const std::shared_lock guard(m_lock);
    return m_times.getDuration() != 0 && m_sampleRate != 0;
}

int Period::isBetween(qint64 time) const
{
    const std::shared_lock guard(m_lock);
    if (time < m_times.start)
        return -1;
    return time >= m_times.end ? 1 : 0;
}

bool Period::isTimeIdenticalTo(const Period &other) const
{
    // Copied first: holding both locks at once could meet another comparison the other way round.
    const Times otherTimes = [&] {
        const std::shared_lock guard(other.m_lock);
        return other.m_times;
    }();
    const std::shared_lock guard(m_lock);
    return m_times == otherTimes;
}

QString Period::getPDUnit() const
{
    const std::shared_lock guard(m_lock);
    if ((m_flags & PeriodFlagMillivolts) != 0)
        return QStringLiteral("mV");
    return m_pdCalibrated ? QStringLiteral("pC") : QStringLiteral("p.u.");
}

} // namespace CommonNOX::Data
