#include "host/pulses/period_entry.h"

#include "entries/catalogue/results_pd.h"
#include "entries/property_keys.h"

#include <cstdlib>

namespace NoxHost
{

using namespace CommonNOX::Entries::Results::Space2D;
namespace Keys = CommonNOX::Entries::Keys;

namespace
{

/// The first place of an extreme and its value.
struct Extreme
{
    int index = -1;
    qint64 value = 0;

    void take(int place, qint64 candidate, bool isFurther)
    {
        if (index < 0 || isFurther) {
            index = place;
            value = candidate;
        }
    }
};

struct Extremes
{
    Extreme maximum, minimum, largest, smallest;
};

Extremes findExtremes(const PeakVector &peaks)
{
    Extremes extremes;
    for (int i = 0; i < peaks.size(); ++i) {
        const qint64 amplitude = peaks[i].amplitude;
        const qint64 magnitude = std::llabs(amplitude);
        extremes.maximum.take(i, amplitude, amplitude > extremes.maximum.value);
        extremes.minimum.take(i, amplitude, amplitude < extremes.minimum.value);
        extremes.largest.take(i, magnitude, magnitude > extremes.largest.value);
        extremes.smallest.take(i, magnitude, magnitude < extremes.smallest.value);
    }
    return extremes;
}

} // namespace

std::shared_ptr<PeriodV2> makePeriodEntry(const RawPeriod &period)
{
    const Extremes extremes = findExtremes(period.peaks);
    const auto entry = std::make_shared<PeriodV2>();
    entry->set(Keys::StartTime, period.startTicks);
    entry->set(Keys::EndTime, period.endTicks);
    entry->set(Keys::SampleRate, period.sampleRate);
    entry->set(Keys::PdHardwareCorrection, period.pdHardwareCorrection);
    entry->set(Keys::PdCalibration, period.pdCalibration);
    entry->set(Keys::TvHardwareCorrection, period.tvHardwareCorrection);
    entry->set(Keys::TvCalibration, period.tvCalibration);
    entry->set(Keys::Flags, period.flags);
    entry->set(Keys::Peaks, QVariant::fromValue(period.peaks));
    entry->set(Keys::MaximumIndex, extremes.maximum.index);
    entry->set(Keys::MaximumValue, double(extremes.maximum.value));
    entry->set(Keys::MinimumIndex, extremes.minimum.index);
    entry->set(Keys::MinimumValue, double(extremes.minimum.value));
    entry->set(Keys::AbsoluteMaximumIndex, extremes.largest.index);
    entry->set(Keys::AbsoluteMaximumValue, double(extremes.largest.value));
    entry->set(Keys::AbsoluteMinimumIndex, extremes.smallest.index);
    entry->set(Keys::AbsoluteMinimumValue, double(extremes.smallest.value));
    entry->set(Keys::Count, quint32(period.peaks.size()));
    return entry;
}

bool readPeriodEntry(const CommonNOX::DataEntryConstPtr &entry, RawPeriod &period)
{
    if (!std::dynamic_pointer_cast<const PeriodV2>(entry))
        return false;
    period.startTicks = entry->get(Keys::StartTime).toLongLong();
    period.endTicks = entry->get(Keys::EndTime).toLongLong();
    period.sampleRate = entry->get(Keys::SampleRate).toUInt();
    period.pdHardwareCorrection = entry->get(Keys::PdHardwareCorrection).toDouble();
    period.pdCalibration = entry->get(Keys::PdCalibration).toDouble();
    period.tvHardwareCorrection = entry->get(Keys::TvHardwareCorrection).toDouble();
    period.tvCalibration = entry->get(Keys::TvCalibration).toDouble();
    period.flags = entry->get(Keys::Flags).toUInt();
    period.peaks = entry->get(Keys::Peaks).value<PeakVector>();
    return true;
}

std::shared_ptr<const PeriodBlockV1> makePeriodBlock(const std::vector<RawPeriod> &periods)
{
    QVariantList entries;
    for (const RawPeriod &period : periods)
        entries.append(QVariant::fromValue(PeriodV2ConstPtr(makePeriodEntry(period))));
    const auto block = std::make_shared<PeriodBlockV1>();
    block->set(Keys::Periods, entries);
    return block;
}

std::shared_ptr<const PeriodBlockV1> makePeriodBlock(const RawPeriod &period)
{
    const auto block = std::make_shared<PeriodBlockV1>();
    const PeriodV2ConstPtr entry = makePeriodEntry(period);
    block->set(Keys::Periods, QVariantList{QVariant::fromValue(entry)});
    return block;
}

} // namespace NoxHost
