#include "benchmarks/paired.h"

#include "entries/measurement/pattern.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>
#include <stdexcept>

namespace Bench
{

using CommonNOX::Data::ChargeAxis;
using CommonNOX::Data::EvaluatedEvent;
using CommonNOX::Data::Pattern;
using Shared::Diagrams::AxisScalingType;

namespace
{

constexpr int Events = 100'000;
constexpr int Columns = 400;
constexpr int Rows = 300;
constexpr double LargestCharge = 1000.0;

enum class Spread { Uniform, Clustered };

/// Fresh events: uniform over the pattern, or in two lobes as discharges come.
std::vector<EvaluatedEvent> makeEvents(Spread spread)
{
    std::mt19937_64 random(4711);
    std::uniform_real_distribution<> part(0.0, 1.0);
    std::normal_distribution<> lobe(0.0, 1.0);
    std::vector<EvaluatedEvent> events(Events);
    for (EvaluatedEvent &event : events) {
        if (spread == Spread::Uniform) {
            event.phase = 360.0 * part(random);
            event.charge = LargestCharge * part(random);
        } else {
            event.phase = std::fmod((part(random) < 0.5 ? 60.0 : 240.0) + 12.0 * lobe(random) + 360.0, 360.0);
            event.charge = 150.0 * std::exp(0.4 * lobe(random));
        }
        event.counted = true;
    }
    return events;
}

std::shared_ptr<Pattern> makePattern(AxisScalingType scaling)
{
    const auto pattern = std::make_shared<Pattern>();
    pattern->setPixelDimensionX(Columns);
    pattern->setPixelDimensionY(Rows);
    pattern->setPatternScaleY(LargestCharge);
    pattern->setAxisScaling(scaling);
    pattern->calculatePatternParameter();
    return pattern;
}

Work adding(Spread spread, AxisScalingType scaling)
{
    return {[events = makeEvents(spread), pattern = makePattern(scaling)] {
                pattern->addEvents(events.data(), int(events.size()));
                benchmark::ClobberMemory();
            },
            double(Events)};
}

/// Two passes, neither of which can be left out: three columns of the events are read, and known cells are counted.
Work readingAndCounting(Spread spread)
{
    std::vector<quint32> cells;
    const auto events = makeEvents(spread);
    const ChargeAxis axis = makePattern(AxisScalingType::Linear)->getChargeAxis();
    for (const EvaluatedEvent &event : events)
        cells.push_back(quint32(std::min(axis.rowOf(event.charge), Rows - 1) * Columns +
                                std::min(int(event.phase * Columns / 360.0), Columns - 1)));
    return {[events, cells, counts = std::vector<quint32>(std::size_t(Columns * Rows))]() mutable {
                double charges = 0.0, phases = 0.0;
                int counted = 0;
                for (const EvaluatedEvent &event : events) {
                    charges += event.charge;
                    phases += event.phase;
                    counted += event.counted;
                }
                benchmark::DoNotOptimize(charges);
                benchmark::DoNotOptimize(phases);
                benchmark::DoNotOptimize(counted);
                for (const quint32 cell : cells)
                    ++counts[cell];
                benchmark::ClobberMemory();
            },
            double(Events)};
}

/// The plain way on a logarithmic axis; throws when the pattern's own way comes to other cells.
Work addingByLogarithms(Spread spread)
{
    const auto events = makeEvents(spread);
    const auto pattern = makePattern(AxisScalingType::Logarithmic);
    pattern->addEvents(events.data(), Events);
    const auto add = [](const std::vector<EvaluatedEvent> &from, const ChargeAxis &axis, std::vector<quint32> &counts) {
        for (const EvaluatedEvent &event : from) {
            const int row = axis.rowOf(event.charge);
            const double column = event.phase * (Columns / 360.0);
            if (event.counted && row < Rows && column > -1.0 && column < Columns)
                ++counts[std::size_t(row) * Columns + std::size_t(int(column))];
        }
    };
    std::vector<quint32> counts(std::size_t(Columns * Rows));
    add(events, pattern->getChargeAxis(), counts);
    if (counts != pattern->getCounts())
        throw std::runtime_error("an event lies in another cell than its logarithm says");
    return {[events, axis = pattern->getChargeAxis(), counts, add]() mutable {
                add(events, axis, counts);
                benchmark::ClobberMemory();
            },
            double(Events)};
}

} // namespace

std::vector<Pair> PatternPairs()
{
    const auto atMost = [](double ratio) { return Limit{Limit::Kind::TimeAtMost, ratio}; };
    std::vector<Pair> pairs;
    for (const Spread spread : {Spread::Uniform, Spread::Clustered}) {
        const std::string events = spread == Spread::Uniform ? "uniform" : "clustered";
        pairs.push_back(
            {"pattern: 100000 " + events + " events, linear / reading and counting alone", atMost(1.35), [spread] {
                 return Contest{adding(spread, AxisScalingType::Linear), readingAndCounting(spread)};
             }});
        pairs.push_back(
            {"pattern: 100000 " + events + " events, logarithmic / linear", atMost(2.0), [spread] {
                 return Contest{adding(spread, AxisScalingType::Logarithmic), adding(spread, AxisScalingType::Linear)};
             }});
        pairs.push_back(
            {"pattern: 100000 " + events + " events, logarithmic / a logarithm each", atMost(0.4), [spread] {
                 return Contest{adding(spread, AxisScalingType::Logarithmic), addingByLogarithms(spread)};
             }});
    }
    return pairs;
}

} // namespace Bench
