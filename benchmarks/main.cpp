#include "benchmarks/paired.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QLoggingCategory>

#include <cstdio>
#include <string>

namespace
{

std::vector<Bench::Pair> allPairs()
{
    std::vector<Bench::Pair> all;
    for (const auto &topic : {Bench::PeriodPairs(), Bench::PatternPairs(), Bench::StreamPairs(),
                              Bench::EvaluationPairs(), Bench::ProtocolPairs(), Bench::RecordingPairs()})
        all.insert(all.end(), topic.begin(), topic.end());
    return all;
}

} // namespace

/// `nox_benchmarks [TEXT]` prints the ratios of the rows that contain the text, `nox_benchmarks --absolute` the times
/// of both sides, with Google Benchmark's own options behind it.
int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("*.info=false\n*.debug=false"));
    if (argc == 2 && std::string(argv[1]) == "--denoising") {
        Bench::PrintDenoisingTimes();
        return 0;
    }
    if (argc < 2 || std::string(argv[1]) != "--absolute") {
        const std::string filter = argc < 2 ? "" : argv[1];
        const bool ratiosMet = Bench::PrintRatios(allPairs(), filter);
        bool figuresMet = true;
        for (const auto &topic : {Bench::ProtocolFigures(), Bench::RecordingFigures()})
            figuresMet = Bench::PrintFigures(topic, filter) && figuresMet;
        return ratiosMet && figuresMet ? 0 : 1;
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
