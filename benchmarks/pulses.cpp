#include "benchmarks/pulses.h"

#include "entries/catalogue/results_pd.h"
#include "entries/property_keys.h"

#include <random>

namespace Bench
{

namespace Keys = CommonNOX::Entries::Keys;
using CommonNOX::Entries::Results::Space2D::PeakFlagGated;

PeakVector MakePeaks(int count)
{
    std::mt19937 random(12345);
    PeakVector peaks(count);
    for (PeakData &peak : peaks) {
        const auto magnitude = qint32(1000 + random() % 100'000);
        peak.amplitude = random() % 2 ? magnitude : -magnitude;
        peak.voltage = qint32(random() % 60'000) - 30'000;
        peak.time = qint64(random()) % PeriodTicks;
        peak.flags = random() % 10 == 0 ? PeakFlagGated : 0;
    }
    return peaks;
}

std::shared_ptr<PeriodV2> MakePeriodEntry(const PeakVector &peaks)
{
    const auto entry = std::make_shared<PeriodV2>();
    entry->set(Keys::EndTime, PeriodTicks);
    entry->set(Keys::SampleRate, SampleRate);
    entry->set(Keys::PdCalibration, 0.01);
    entry->set(Keys::TvCalibration, 0.05);
    entry->set(Keys::Peaks, QVariant::fromValue(peaks));
    entry->set(Keys::Count, quint32(peaks.size()));
    return entry;
}

std::vector<std::shared_ptr<const PeriodV2>> MakePeriodEntries(int total, int count)
{
    const PeakVector peaks = MakePeaks(total);
    std::vector<std::shared_ptr<const PeriodV2>> entries;
    for (int begin = 0; begin < total; begin += count)
        entries.push_back(MakePeriodEntry(peaks.mid(begin, count)));
    return entries;
}

} // namespace Bench
