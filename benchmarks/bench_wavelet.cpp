#include "benchmarks/paired.h"

#include "dac/samples/sample_utilities.h"
#include "host/simulated/damped_cosine.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

namespace Bench
{

namespace
{

constexpr int Level = 5;
constexpr int Passes = 9;

} // namespace

void PrintDenoisingTimes()
{
    NoxHost::DampedCosineSettings settings;
    settings.samples = 1'000'000;
    const std::vector<double> values = NoxHost::makeDampedCosine(settings);
    const QVector<qint32> samples(values.begin(), values.end());
    for (const char *wavelet : {"db4", "sym8", "coif3"}) {
        std::vector<double> times;
        for (int pass = 0; pass < Passes; ++pass) {
            const auto begin = std::chrono::steady_clock::now();
            benchmark::DoNotOptimize(
                CommonNOX::DAC::utils::DenoiseSampleData(samples, Level, QString::fromLatin1(wavelet)));
            times.push_back(
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count());
        }
        std::nth_element(times.begin(), times.begin() + Passes / 2, times.end());
        std::printf("%s %.4f\n", wavelet, times[Passes / 2]);
    }
}

} // namespace Bench
