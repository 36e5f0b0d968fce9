#pragma once

#include "dac/wavelet/wavelet_filters.h"
#include "nox_export.h"

#include <QtGlobal>

#include <memory>
#include <vector>

namespace CommonNOX::DAC::Wavelets
{

/// The bands of a decomposition: the approximation of the deepest level, then the details from the deepest level up.
using Bands = std::vector<std::vector<double>>;

/// The discrete wavelet transform (Mallat, A Wavelet Tour of Signal Processing, 7.3) of series of one length, which go
/// on at their ends as in a mirror, the last sample twice. A band of n samples becomes two of floor((n + length - 1) /
/// 2).
///
/// All memory it needs, about twenty bytes a sample, is one piece. One thread at a time.
class NOX_EXPORT WaveletTransform
{
public:
    /// At least one sample and one level; any level is taken, also one that is all edges.
    WaveletTransform(const std::shared_ptr<const WaveletFilters> &wavelet, qint64 samples, int levels);

    void decompose(const double *samples);
    void decompose(const qint32 *samples);
    /// Of what stands in the coefficients.
    void reconstruct(double *samples);
    /// Towards zero, and no further than the range of a sample.
    void reconstruct(qint32 *samples);

    /// Draws every coefficient nearer to 0 by the threshold, and those within it to 0.
    void shrink(double threshold);
    Bands getBands() const;
    /// False, and nothing changes, for bands of other lengths.
    bool setBands(const Bands &bands);

private:
    struct Phases
    {
        std::vector<double> low0, low1, high0, high1;
    };

    template <class Sample>
    void analyse(const Sample *samples);
    /// Leaves the series in its even and odd samples.
    void synthesise();
    double *bandOf(int level) const;

    const std::shared_ptr<const WaveletFilters> m_wavelet;
    const qint64 m_taps; ///< half of the filters' length
    Phases m_analysis;
    Phases m_synthesis;
    std::vector<qint64> m_lengths; ///< of the series, then of the bands of each level
    qint64 m_coefficientCount = 0;
    std::unique_ptr<double[]> m_memory;
    double *m_coefficients = nullptr;
    double *m_even = nullptr; ///< with a margin of m_taps before and behind
    double *m_odd = nullptr;
    double *m_low = nullptr;
};

/// No bands for an empty series or a level below 1.
NOX_EXPORT Bands Decompose(const std::shared_ptr<const WaveletFilters> &wavelet, const std::vector<double> &samples,
                           int levels);
/// The series of so many samples whose bands these are; empty for bands that cannot be.
NOX_EXPORT std::vector<double> Reconstruct(const std::shared_ptr<const WaveletFilters> &wavelet, const Bands &bands,
                                           qint64 samples);

} // namespace CommonNOX::DAC::Wavelets
