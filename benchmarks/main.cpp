#include "benchmarks/paired.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

namespace
{

std::vector<Bench::Pair> allPairs()
{
    std::vector<Bench::Pair> all;
    for (const auto &topic : {Bench::PeriodPairs(), Bench::PatternPairs(), Bench::StreamPairs(),
                              Bench::EvaluationPairs(), Bench::ProtocolPairs()})
        all.insert(all.end(), topic.begin(), topic.end());
    return all;
}

} // namespace

/// `nox_benchmarks [TEXT]` prints the ratios of the rows that contain the text, `nox_benchmarks --absolute` the times
/// of both sides, with Google Benchmark's own options behind it.
int main(int argc, char **argv)
{
    if (argc < 2 || std::string(argv[1]) != "--absolute") {
        const std::string filter = argc < 2 ? "" : argv[1];
        const bool ratiosMet = Bench::PrintRatios(allPairs(), filter);
        return Bench::PrintFigures(Bench::ProtocolFigures(), filter) && ratiosMet ? 0 : 1;
    }
    Bench::RegisterAbsolute(allPairs());
    int count = argc - 1;
    argv[1] = argv[0];
    benchmark::Initialize(&count, argv + 1);
    if (benchmark::ReportUnrecognizedArguments(count, argv + 1))
        return 2;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
