#include "benchmarks/paired.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <stdexcept>

namespace Bench
{

namespace
{

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

/// Long against the clock's resolution, short against the slices in which a busy machine takes the processor away.
constexpr double TurnSeconds = 0.0003;
constexpr double RowSeconds = 1.0;
constexpr int LeastRounds = 15;
constexpr int MostRounds = 1001;

double timeOf(const Work &work, int passes)
{
    const auto begin = Clock::now();
    for (int i = 0; i < passes; ++i)
        work.run();
    return Seconds(Clock::now() - begin).count() / (passes * work.items);
}

/// Seconds of a pass, once caches and pools are warm.
double passSeconds(const Work &work)
{
    timeOf(work, 1);
    return std::min({timeOf(work, 1), timeOf(work, 1), timeOf(work, 1)}) * work.items;
}

int passesIn(double seconds, double pass)
{
    return std::max(1, int(std::lround(seconds / pass)));
}

double median(std::vector<double> values)
{
    const auto middle = values.begin() + std::ptrdiff_t(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::string limitText(const Limit &limit)
{
    if (limit.kind == Limit::Kind::None)
        return "-";
    char text[32];
    std::snprintf(text, sizeof text, "%s %.3g", limit.kind == Limit::Kind::TimeAtMost ? "<=" : ">=", limit.ratio);
    return text;
}

bool isMet(const Limit &limit, double ratio)
{
    switch (limit.kind) {
    case Limit::Kind::TimeAtMost:
        return ratio <= limit.ratio;
    case Limit::Kind::RateAtLeast:
        return ratio >= limit.ratio;
    case Limit::Kind::None:
        break;
    }
    return true;
}

void printRow(const std::string &what, const Limit &limit, const std::string &measured, const char *verdict)
{
    std::printf("%s | %s | %s | %s\n", what.c_str(), measured.c_str(), limitText(limit).c_str(), verdict);
    std::fflush(stdout);
}

bool printMeasured(const std::string &what, const Limit &limit, const std::function<double()> &measure)
{
    std::fprintf(stderr, "measuring: %s\n", what.c_str());
    try {
        const double measured = measure();
        const bool met = isMet(limit, measured);
        char text[32];
        std::snprintf(text, sizeof text, "%.3g", measured);
        printRow(what, limit, text, limit.kind == Limit::Kind::None ? "-" : met ? "ok" : "MISSED");
        return met;
    } catch (const std::runtime_error &error) {
        printRow(what, limit, error.what(), "MISSED");
        return false;
    }
}

} // namespace

double MeasureRatio(const Contest &contest, const Limit &limit)
{
    const double subjectPass = passSeconds(contest.subject);
    const double peerPass = passSeconds(contest.peer);
    // Of equal length, so that other programs disturb both sides alike.
    const double turn = std::max({TurnSeconds, subjectPass, peerPass});
    const int subjectPasses = passesIn(turn, subjectPass);
    const int peerPasses = passesIn(turn, peerPass);
    const int rounds = int(RowSeconds / (2 * turn));
    std::vector<double> ratios;
    for (int round = 0; round < std::clamp(rounds, LeastRounds, MostRounds); ++round) {
        // In turn first and second, so that a drift of the clock rate favours neither.
        const bool subjectFirst = round % 2 == 0;
        double subject = subjectFirst ? timeOf(contest.subject, subjectPasses) : 0.0;
        const double peer = timeOf(contest.peer, peerPasses);
        if (!subjectFirst)
            subject = timeOf(contest.subject, subjectPasses);
        ratios.push_back(limit.kind == Limit::Kind::RateAtLeast ? peer / subject : subject / peer);
    }
    return median(ratios);
}

bool PrintRatios(const std::vector<Pair> &pairs, const std::string &filter)
{
    bool met = true;
    for (const Pair &pair : pairs) {
        if (pair.what.find(filter) != std::string::npos)
            met = printMeasured(pair.what, pair.limit, [&] { return MeasureRatio(pair.make(), pair.limit); }) && met;
    }
    return met;
}

bool PrintFigures(const std::vector<Figure> &figures, const std::string &filter)
{
    bool met = true;
    for (const Figure &figure : figures) {
        if (figure.what.find(filter) != std::string::npos)
            met = printMeasured(figure.what, {Limit::Kind::TimeAtMost, figure.atMost}, figure.measure) && met;
    }
    return met;
}

void RegisterAbsolute(const std::vector<Pair> &pairs)
{
    for (const Pair &pair : pairs) {
        for (const auto &[side, member] :
             {std::pair("subject", &Contest::subject), std::pair("peer", &Contest::peer)}) {
            const auto run = [make = pair.make, part = member](benchmark::State &state) {
                const Contest contest = make();
                const Work &work = contest.*part;
                for ([[maybe_unused]] auto pass : state)
                    work.run();
                state.SetItemsProcessed(std::int64_t(double(state.iterations()) * work.items));
            };
            benchmark::RegisterBenchmark((pair.what + "/" + side).c_str(), run)->UseRealTime();
        }
    }
}

} // namespace Bench
