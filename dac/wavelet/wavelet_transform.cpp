#include "dac/wavelet/wavelet_transform.h"

#include <algorithm>
#include <limits>

// The loops over columns are compiled for wider registers as well, and the best is taken when the library loads.
#if defined(__x86_64__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && !defined(__clang__)
#define NOX_WIDE_LOOPS __attribute__((target_clones("arch=x86-64-v4", "arch=x86-64-v3", "default")))
#define NOX_PLAIN_FILTER __attribute__((target("default")))
#define NOX_WIDE_FILTER __attribute__((target("arch=x86-64-v3")))
#else
#define NOX_WIDE_LOOPS
#define NOX_PLAIN_FILTER
#endif

namespace CommonNOX::DAC::Wavelets
{

namespace
{

/// Columns that are summed side by side, in registers.
constexpr qint64 Columns = 32;

/// The sample at any place of the series that is mirrored without end.
template <class Sample>
double mirrored(const Sample *samples, qint64 count, qint64 place)
{
    qint64 within = place % (2 * count);
    if (within < 0)
        within += 2 * count;
    return double(samples[within < count ? within : 2 * count - 1 - within]);
}

template <class Sample>
inline void separatePairs(const Sample *samples, qint64 pairs, double *even, double *odd)
{
    for (qint64 i = 0; i < pairs; ++i) {
        even[i] = double(samples[2 * i]);
        odd[i] = double(samples[2 * i + 1]);
    }
}

NOX_WIDE_LOOPS
void separate(const double *samples, qint64 pairs, double *even, double *odd)
{
    separatePairs(samples, pairs, even, odd);
}

NOX_WIDE_LOOPS
void separate(const qint32 *samples, qint64 pairs, double *even, double *odd)
{
    separatePairs(samples, pairs, even, odd);
}

NOX_WIDE_LOOPS
void interleave(const double *even, const double *odd, qint64 pairs, double *samples)
{
    for (qint64 i = 0; i < pairs; ++i) {
        samples[2 * i] = even[i];
        samples[2 * i + 1] = odd[i];
    }
}

NOX_WIDE_LOOPS
void shrinkAll(double *values, qint64 count, double threshold)
{
    for (qint64 i = 0; i < count; ++i)
        values[i] -= std::min(std::max(values[i], -threshold), threshold);
}

inline qint32 toSample(double value)
{
    constexpr double Lowest = std::numeric_limits<qint32>::min();
    constexpr double Highest = std::numeric_limits<qint32>::max();
    return qint32(std::min(std::max(value, Lowest), Highest));
}

NOX_WIDE_LOOPS
void interleave(const double *even, const double *odd, qint64 pairs, qint32 *samples)
{
    for (qint64 i = 0; i < pairs; ++i) {
        samples[2 * i] = toSample(even[i]);
        samples[2 * i + 1] = toSample(odd[i]);
    }
}

void finish(const double *even, qint64 count, double *samples)
{
    if (count % 2 != 0)
        samples[count - 1] = even[count / 2];
}

void finish(const double *even, qint64 count, qint32 *samples)
{
    if (count % 2 != 0)
        samples[count - 1] = toSample(even[count / 2]);
}

/// first[k] = sum over m of a0[m] x[k - m] + a1[m] y[k - m], second[k] the same with b0 and b1.
struct Filter
{
    const double *a0, *a1, *b0, *b1;
    qint64 taps;

    /// Columns from `k` on, one by one.
    void applyFrom(qint64 k, const double *x, const double *y, qint64 count, double *first, double *second) const
    {
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
};

NOX_PLAIN_FILTER
void apply(const Filter &filter, const double *x, const double *y, qint64 count, double *first, double *second)
{
    qint64 k = 0;
    for (; k + Columns <= count; k += Columns) {
        double sumOfFirst[Columns] = {};
        double sumOfSecond[Columns] = {};
        for (qint64 m = 0; m < filter.taps; ++m) {
            const double *xs = x + k - m;
            const double *ys = y + k - m;
            for (qint64 i = 0; i < Columns; ++i) {
                sumOfFirst[i] += filter.a0[m] * xs[i] + filter.a1[m] * ys[i];
                sumOfSecond[i] += filter.b0[m] * xs[i] + filter.b1[m] * ys[i];
            }
        }
        std::copy_n(sumOfFirst, Columns, first + k);
        std::copy_n(sumOfSecond, Columns, second + k);
    }
    filter.applyFrom(k, x, y, count, first, second);
}

#ifdef NOX_WIDE_FILTER
typedef double Four __attribute__((vector_size(32)));
typedef double FourAnywhere __attribute__((vector_size(32), aligned(8), may_alias));

/// The same sums in the same order, but every sample is loaded once for both. The plain loop is compiled to load it for
/// each, and loads that are not aligned are what takes the time.
NOX_WIDE_FILTER
void apply(const Filter &filter, const double *x, const double *y, qint64 count, double *first, double *second)
{
    constexpr int Vectors = 4;
    constexpr qint64 Width = 4;
    // A copy, which nothing that is written can be part of.
    const Filter own = filter;
    qint64 k = 0;
    for (; k + Vectors * Width <= count; k += Vectors * Width) {
        Four sumOfFirst[Vectors] = {};
        Four sumOfSecond[Vectors] = {};
        for (qint64 m = 0; m < own.taps; ++m) {
            for (int i = 0; i < Vectors; ++i) {
                Four xs = *reinterpret_cast<const FourAnywhere *>(x + k - m + i * Width);
                Four ys = *reinterpret_cast<const FourAnywhere *>(y + k - m + i * Width);
                // Keeps them in registers.
                asm("" : "+x"(xs), "+x"(ys));
                sumOfFirst[i] += own.a0[m] * xs + own.a1[m] * ys;
                sumOfSecond[i] += own.b0[m] * xs + own.b1[m] * ys;
            }
        }
        for (int i = 0; i < Vectors; ++i) {
            *reinterpret_cast<FourAnywhere *>(first + k + i * Width) = sumOfFirst[i];
            *reinterpret_cast<FourAnywhere *>(second + k + i * Width) = sumOfSecond[i];
        }
    }
    own.applyFrom(k, x, y, count, first, second);
}
#endif

/// Every second tap.
std::vector<double> phaseOf(const std::vector<double> &taps, std::size_t first)
{
    std::vector<double> phase;
    for (std::size_t i = first; i < taps.size(); i += 2)
        phase.push_back(taps[i]);
    return phase;
}

} // namespace

WaveletTransform::WaveletTransform(const std::shared_ptr<const WaveletFilters> &wavelet, qint64 samples, int levels)
    : m_wavelet(wavelet), m_taps(wavelet->getLength() / 2), m_analysis{phaseOf(wavelet->decompositionLow, 0),
                                                                       phaseOf(wavelet->decompositionLow, 1),
                                                                       phaseOf(wavelet->decompositionHigh, 0),
                                                                       phaseOf(wavelet->decompositionHigh, 1)},
      m_synthesis{phaseOf(wavelet->reconstructionLow, 0), phaseOf(wavelet->reconstructionLow, 1),
                  phaseOf(wavelet->reconstructionHigh, 0), phaseOf(wavelet->reconstructionHigh, 1)}
{
    m_lengths.push_back(std::max<qint64>(1, samples));
    for (int level = 0; level < std::max(1, levels); ++level)
        m_lengths.push_back((m_lengths.back() + wavelet->getLength() - 1) / 2);
    m_coefficientCount = m_lengths.back();
    for (std::size_t level = 1; level < m_lengths.size(); ++level)
        m_coefficientCount += m_lengths[level];
    // A series of one sample grows from level to level.
    const qint64 longest = *std::max_element(m_lengths.begin(), m_lengths.end());
    const qint64 half = longest / 2 + 3 * m_taps + 2;
    m_memory = std::make_unique_for_overwrite<double[]>(std::size_t(m_coefficientCount + 2 * half + longest + 2));
    m_coefficients = m_memory.get();
    m_even = m_coefficients + m_coefficientCount;
    m_odd = m_even + half;
    m_low = m_odd + half;
}

/// Of the details of a level.
double *WaveletTransform::bandOf(int level) const
{
    double *band = m_coefficients + m_lengths.back();
    for (int deeper = int(m_lengths.size()) - 1; deeper > level; --deeper)
        band += m_lengths[std::size_t(deeper)];
    return band;
}

template <class Sample>
void WaveletTransform::analyse(const Sample *samples)
{
    const auto levels = int(m_lengths.size()) - 1;
    const auto split = [this](const auto *source, qint64 count, qint64 places) {
        const qint64 pairs = std::min(count / 2, places);
        separate(source, pairs, m_even + m_taps, m_odd + m_taps);
        const auto mirror = [&](qint64 place) {
            m_even[place + m_taps] = mirrored(source, count, 2 * place);
            m_odd[place + m_taps] = mirrored(source, count, 2 * place + 1);
        };
        for (qint64 place = -m_taps; place < 0; ++place)
            mirror(place);
        for (qint64 place = pairs; place < places; ++place)
            mirror(place);
    };
    const Filter filter{m_analysis.low0.data(), m_analysis.low1.data(), m_analysis.high0.data(),
                        m_analysis.high1.data(), m_taps};
    for (int level = 1; level <= levels; ++level) {
        const qint64 count = m_lengths[std::size_t(level)];
        if (level == 1)
            split(samples, m_lengths[0], count);
        else
            split(m_low, m_lengths[std::size_t(level) - 1], count);
        apply(filter, m_odd + m_taps, m_even + m_taps, count, level == levels ? m_coefficients : m_low, bandOf(level));
    }
}

void WaveletTransform::synthesise()
{
    const Filter filter{m_synthesis.low0.data(), m_synthesis.high0.data(), m_synthesis.low1.data(),
                        m_synthesis.high1.data(), m_taps};
    const double *low = m_coefficients;
    for (int level = int(m_lengths.size()) - 1; level >= 1; --level) {
        const qint64 pairs = m_lengths[std::size_t(level)] - m_taps + 1;
        apply(filter, low + m_taps - 1, bandOf(level) + m_taps - 1, pairs, m_even, m_odd);
        if (level > 1)
            interleave(m_even, m_odd, pairs, m_low);
        low = m_low;
    }
}

void WaveletTransform::shrink(double threshold)
{
    shrinkAll(m_coefficients, m_coefficientCount, threshold);
}

void WaveletTransform::decompose(const double *samples)
{
    analyse(samples);
}

void WaveletTransform::decompose(const qint32 *samples)
{
    analyse(samples);
}

void WaveletTransform::reconstruct(double *samples)
{
    synthesise();
    interleave(m_even, m_odd, m_lengths[0] / 2, samples);
    finish(m_even, m_lengths[0], samples);
}

void WaveletTransform::reconstruct(qint32 *samples)
{
    synthesise();
    interleave(m_even, m_odd, m_lengths[0] / 2, samples);
    finish(m_even, m_lengths[0], samples);
}

Bands WaveletTransform::getBands() const
{
    Bands bands{{m_coefficients, m_coefficients + m_lengths.back()}};
    for (int level = int(m_lengths.size()) - 1; level >= 1; --level)
        bands.emplace_back(bandOf(level), bandOf(level) + m_lengths[std::size_t(level)]);
    return bands;
}

bool WaveletTransform::setBands(const Bands &bands)
{
    bool isFitting = bands.size() == m_lengths.size();
    for (std::size_t i = 0; isFitting && i < bands.size(); ++i)
        isFitting = qint64(bands[i].size()) == m_lengths[m_lengths.size() - std::max<std::size_t>(1, i)];
    if (!isFitting)
        return false;
    double *place = m_coefficients;
    for (const std::vector<double> &band : bands)
        place = std::copy(band.begin(), band.end(), place);
    return true;
}

Bands Decompose(const std::shared_ptr<const WaveletFilters> &wavelet, const std::vector<double> &samples, int levels)
{
    if (samples.empty() || levels < 1)
        return {};
    WaveletTransform transform(wavelet, qint64(samples.size()), levels);
    transform.decompose(samples.data());
    return transform.getBands();
}

std::vector<double> Reconstruct(const std::shared_ptr<const WaveletFilters> &wavelet, const Bands &bands,
                                qint64 samples)
{
    if (bands.size() < 2 || samples < 1)
        return {};
    WaveletTransform transform(wavelet, samples, int(bands.size()) - 1);
    std::vector<double> series;
    if (transform.setBands(bands)) {
        series.resize(std::size_t(samples));
        transform.reconstruct(series.data());
    }
    return series;
}

} // namespace CommonNOX::DAC::Wavelets
