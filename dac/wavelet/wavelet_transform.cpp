#include "dac/wavelet/wavelet_transform.h"

#include <QtGlobal>

#include <algorithm>
#include <array>

// The loops over columns are compiled for wider registers as well, and the best is taken when the library loads.
#if defined(__x86_64__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && !defined(__clang__)
#define NOX_WIDE_LOOPS __attribute__((target_clones("arch=x86-64-v4", "arch=x86-64-v3", "default")))
#else
#define NOX_WIDE_LOOPS
#endif

namespace CommonNOX::DAC::Wavelets
{

namespace
{

/// Columns that are summed side by side, in registers.
constexpr qint64 Columns = 16;

/// A series by even and odd places, with a margin before and behind it: sample 2i is even[i + margin].
struct Halves
{
    std::vector<double> even;
    std::vector<double> odd;
};

/// The sample at any place of the series that is mirrored without end.
double mirrored(const std::vector<double> &samples, qint64 place)
{
    const auto count = qint64(samples.size());
    qint64 within = place % (2 * count);
    if (within < 0)
        within += 2 * count;
    return samples[std::size_t(within < count ? within : 2 * count - 1 - within)];
}

NOX_WIDE_LOOPS
void separate(const double *samples, qint64 pairs, double *even, double *odd)
{
    for (qint64 i = 0; i < pairs; ++i) {
        even[i] = samples[2 * i];
        odd[i] = samples[2 * i + 1];
    }
}

NOX_WIDE_LOOPS
void interleave(const double *even, const double *odd, qint64 pairs, double *samples)
{
    for (qint64 i = 0; i < pairs; ++i) {
        samples[2 * i] = even[i];
        samples[2 * i + 1] = odd[i];
    }
}

void split(const std::vector<double> &samples, qint64 margin, qint64 places, Halves &halves)
{
    halves.even.resize(std::size_t(places + 2 * margin));
    halves.odd.resize(halves.even.size());
    const qint64 pairs = qint64(samples.size()) / 2;
    separate(samples.data(), pairs, halves.even.data() + margin, halves.odd.data() + margin);
    const auto mirror = [&](qint64 place) {
        halves.even[std::size_t(place + margin)] = mirrored(samples, 2 * place);
        halves.odd[std::size_t(place + margin)] = mirrored(samples, 2 * place + 1);
    };
    for (qint64 place = -margin; place < 0; ++place)
        mirror(place);
    for (qint64 place = pairs; place < places + margin; ++place)
        mirror(place);
}

/// first[k] = sum over m of a0[m] x[k - m] + a1[m] y[k - m], second[k] the same with b0 and b1.
NOX_WIDE_LOOPS
void filter(const double *x, const double *y, const double *a0, const double *a1, const double *b0, const double *b1,
            qint64 taps, qint64 count, double *first, double *second)
{
    qint64 k = 0;
    for (; k + Columns <= count; k += Columns) {
        double sumOfFirst[Columns] = {};
        double sumOfSecond[Columns] = {};
        for (qint64 m = 0; m < taps; ++m) {
            const double *xs = x + k - m;
            const double *ys = y + k - m;
            for (qint64 i = 0; i < Columns; ++i) {
                sumOfFirst[i] += a0[m] * xs[i] + a1[m] * ys[i];
                sumOfSecond[i] += b0[m] * xs[i] + b1[m] * ys[i];
            }
        }
        std::copy_n(sumOfFirst, Columns, first + k);
        std::copy_n(sumOfSecond, Columns, second + k);
    }
    for (; k < count; ++k) {
        double sumOfFirst = 0.0;
        double sumOfSecond = 0.0;
        for (qint64 m = 0; m < taps; ++m) {
            sumOfFirst += a0[m] * x[k - m] + a1[m] * y[k - m];
            sumOfSecond += b0[m] * x[k - m] + b1[m] * y[k - m];
        }
        first[k] = sumOfFirst;
        second[k] = sumOfSecond;
    }
}

/// Every second tap.
std::vector<double> phaseOf(const std::vector<double> &taps, std::size_t first)
{
    std::vector<double> phase;
    for (std::size_t i = first; i < taps.size(); i += 2)
        phase.push_back(taps[i]);
    return phase;
}

} // namespace

Bands Decompose(const WaveletFilters &wavelet, const std::vector<double> &samples, int levels)
{
    Bands bands;
    if (samples.empty() || levels < 1)
        return bands;
    const qint64 taps = wavelet.getLength() / 2;
    const auto low0 = phaseOf(wavelet.decompositionLow, 0);
    const auto low1 = phaseOf(wavelet.decompositionLow, 1);
    const auto high0 = phaseOf(wavelet.decompositionHigh, 0);
    const auto high1 = phaseOf(wavelet.decompositionHigh, 1);
    std::vector<double> approximation;
    Halves halves;
    for (int level = 0; level < levels; ++level) {
        const std::vector<double> &source = level == 0 ? samples : approximation;
        const qint64 count = (qint64(source.size()) + wavelet.getLength() - 1) / 2;
        split(source, taps, count, halves);
        std::vector<double> low(std::size_t(count), 0.0);
        std::vector<double> high(std::size_t(count), 0.0);
        filter(halves.odd.data() + taps, halves.even.data() + taps, low0.data(), low1.data(), high0.data(),
               high1.data(), taps, count, low.data(), high.data());
        bands.push_back(std::move(high));
        approximation = std::move(low);
    }
    bands.push_back(std::move(approximation));
    std::reverse(bands.begin(), bands.end());
    return bands;
}

std::vector<double> Reconstruct(const WaveletFilters &wavelet, const Bands &bands)
{
    if (bands.empty())
        return {};
    const qint64 taps = wavelet.getLength() / 2;
    const auto low0 = phaseOf(wavelet.reconstructionLow, 0);
    const auto low1 = phaseOf(wavelet.reconstructionLow, 1);
    const auto high0 = phaseOf(wavelet.reconstructionHigh, 0);
    const auto high1 = phaseOf(wavelet.reconstructionHigh, 1);
    std::vector<double> samples = bands.front();
    std::vector<double> even;
    std::vector<double> odd;
    for (std::size_t i = 1; i < bands.size(); ++i) {
        const std::vector<double> &details = bands[i];
        // Of an odd number of samples one more came back than went in.
        const auto count = qint64(std::min(samples.size(), details.size()));
        const qint64 pairs = count - taps + 1;
        if (pairs < 1)
            return {};
        even.resize(std::size_t(pairs));
        odd.resize(std::size_t(pairs));
        const double *low = samples.data() + taps - 1;
        const double *high = details.data() + taps - 1;
        filter(low, high, low0.data(), high0.data(), low1.data(), high1.data(), taps, pairs, even.data(), odd.data());
        samples.resize(std::size_t(2 * pairs));
        interleave(even.data(), odd.data(), pairs, samples.data());
    }
    return samples;
}

} // namespace CommonNOX::DAC::Wavelets
