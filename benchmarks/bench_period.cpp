#include "benchmarks/paired.h"
#include "benchmarks/pulses.h"

#include "entries/catalogue/results_pd.h"
#include "entries/measurement/event_builder.h"
#include "entries/measurement/period.h"

#include <benchmark/benchmark.h>

#include <cstring>

namespace Bench
{

using CommonNOX::GatingStatus;
using CommonNOX::Data::BuildEvents;
using CommonNOX::Data::EvaluatedEvent;
using CommonNOX::Data::EvaluatedEventVector;
using CommonNOX::Data::EventScale;

namespace
{

constexpr int FreshPeaks = 10'000;
/// Of 100,000 peaks with their events: 150 MB, several times any cache.
constexpr int LargeBuffers = 24;

/// The limit of building events: it loads and stores all that a pulse has, and computes nothing.
[[gnu::noinline]] void copyFields(const PeakData *peaks, int count, EvaluatedEvent *events)
{
    for (int i = 0; i < count; ++i) {
        const PeakData &peak = peaks[i];
        EvaluatedEvent &event = events[i];
        double amplitudeAndVoltage = 0.0;
        std::memcpy(&amplitudeAndVoltage, &peak.amplitude, sizeof amplitudeAndVoltage);
        event.time = peak.time;
        event.charge = amplitudeAndVoltage;
        std::memcpy(&event.phase, &peak.time, sizeof event.phase);
        event.voltage = amplitudeAndVoltage;
        event.flags = peak.flags;
        event.counted = true;
    }
}

EventScale makeScale()
{
    EventScale scale;
    scale.extent = double(PeriodTicks);
    scale.chargeScale = 0.01;
    scale.voltageScale = 0.05;
    return scale;
}

template <class Build>
Work overSlices(const PeakVector &peaks, int count, Build build)
{
    const auto run = [peaks, count, build, events = EvaluatedEventVector(count)]() mutable {
        for (int begin = 0; begin < peaks.size(); begin += count) {
            build(peaks.constData() + begin, count, events.data());
            benchmark::ClobberMemory();
        }
    };
    return {run, double(peaks.size())};
}

Work buildingSlices(const PeakVector &peaks, int count)
{
    return overSlices(peaks, count, [scale = makeScale()](const PeakData *from, int size, EvaluatedEvent *to) {
        benchmark::DoNotOptimize(BuildEvents(from, size, scale, to));
    });
}

Contest buildAgainstCopy(int count)
{
    const PeakVector peaks = MakePeaks(FreshPeaks);
    return {buildingSlices(peaks, count), overSlices(peaks, count, copyFields)};
}

/// Buffers that are used in turn, so that a large period comes from memory, as a received one does: whether 6 MB stay
/// in a cache depends on the machine, and on what else runs there.
template <class Buffer>
struct Rotation
{
    Rotation(int count, const Buffer &prototype)
    {
        // Not QVectors that share their data.
        for (int i = 0; i < count; ++i)
            buffers.emplace_back(prototype.begin(), prototype.end());
    }
    std::vector<std::vector<typename Buffer::value_type>> buffers;
};

Contest buildAgainstMemcpy(int count, int buffers)
{
    const PeakVector peaks = MakePeaks(count);
    const auto build = [count, buffers, next = 0, from = Rotation(buffers, peaks),
                        to = Rotation(buffers, EvaluatedEventVector(count)), scale = makeScale()]() mutable {
        benchmark::DoNotOptimize(BuildEvents(from.buffers[next].data(), count, scale, to.buffers[next].data()));
        next = (next + 1) % buffers;
        benchmark::ClobberMemory();
    };
    // What is read and written of a pulse, half of it each.
    const auto bytes = std::size_t(count) * (sizeof(PeakData) + sizeof(EvaluatedEvent)) / 2;
    const auto copy = [bytes, buffers, next = 0, from = Rotation(buffers, std::vector<char>(bytes, 1)),
                       to = Rotation(buffers, std::vector<char>(bytes))]() mutable {
        std::memcpy(to.buffers[next].data(), from.buffers[next].data(), bytes);
        next = (next + 1) % buffers;
        benchmark::ClobberMemory();
    };
    return {{build, double(count)}, {copy, double(count)}};
}

Contest preProcessAgainstCopy(int count)
{
    const auto build = [entries = MakePeriodEntries(FreshPeaks, count)] {
        for (const auto &entry : entries) {
            CommonNOX::Data::Period period;
            benchmark::DoNotOptimize(period.preProcess(entry, GatingStatus::Off, false, 0.0, 360.0, false));
        }
    };
    return {{build, double(FreshPeaks)}, overSlices(MakePeaks(FreshPeaks), count, copyFields)};
}

} // namespace

std::vector<Pair> PeriodPairs()
{
    const auto atMost = [](double ratio) { return Limit{Limit::Kind::TimeAtMost, ratio}; };
    return {
        {"period: 100 peaks to events / copy loop", atMost(1.7), [] { return buildAgainstCopy(100); }},
        {"period: 1000 peaks to events / copy loop", atMost(1.5), [] { return buildAgainstCopy(1000); }},
        {"period: 10000 peaks to events / copy loop", atMost(1.5), [] { return buildAgainstCopy(10'000); }},
        {"period: 100000 peaks from memory to events / memcpy", atMost(1.4),
         [] { return buildAgainstMemcpy(100'000, LargeBuffers); }},
        {"period: 100000 peaks, the same again and again / memcpy", Limit{},
         [] { return buildAgainstMemcpy(100'000, 1); }},
        {"period: entry of 100 peaks to period / copy loop", Limit{}, [] { return preProcessAgainstCopy(100); }},
        {"period: entry of 1000 peaks to period / copy loop", atMost(1.5), [] { return preProcessAgainstCopy(1000); }},
        {"period: entry of 10000 peaks to period / copy loop", atMost(1.5),
         [] { return preProcessAgainstCopy(10'000); }},
    };
}

} // namespace Bench
