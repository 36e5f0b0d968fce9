#pragma once

#include "nox_export.h"

#include <QString>
#include <QVector>

#include <cstdint>

namespace CommonNOX::Entries::Results::Space2D
{
/// One sample of a damped-AC shot, in units of its converter.
using SampleData = qint32;
} // namespace CommonNOX::Entries::Results::Space2D

/// Tools for the long series of samples of damped-AC shots. They hold no state; any thread.
namespace CommonNOX::DAC::utils
{

using Entries::Results::Space2D::SampleData;

/// The mean of each `factor` samples; what is left over at the end is dropped. False, and the output is left alone, for
/// an empty series, and a factor below 1 or not smaller than the number of samples.
NOX_EXPORT bool DecimateSamples(const QVector<double> &input, const int &factor, QVector<double> &output);
/// As DecimateSamples(), but of each block the sample of the largest magnitude, the first of equal ones.
NOX_EXPORT bool DownsampleSamples(const QVector<double> &input, const int &factor, QVector<double> &output);

/// A shorter series is not looked through for crossings.
inline constexpr int LeastSamplesOfCrossings = 100;
/// Where the sign of a series changes, and the sign behind each change: 1, or -1 also for samples of 0. The series is
/// looked at in a hundred steps, and a change within a step is narrowed down to about ten samples. False when there is
/// none, and for a series of fewer than a hundred samples. `signs` may be null.
NOX_EXPORT bool ExtractZeroCrossings(const QVector<double> &samples, QVector<int> &crossings, QVector<int> *signs);

/// The number of samples around a peak whose magnitude is above the part `level` of it. 0 for an index without a
/// sample.
NOX_EXPORT std::uint64_t CalculateDacPeakWidth(const QVector<SampleData> &samples, const int &peakIndex,
                                               const double &level);

/// The time in seconds for which reflections of a cable of this length in metres are searched for: 0.05 to 3.
NOX_EXPORT double CalculateSearchTimeFromCableLength(const double &cableLength);

/// Whether DenoiseSampleData() can work on so many samples; else one sentence says why not.
NOX_EXPORT bool CheckDenoising(qint64 samples, int level, const QString &waveletName, QString &objection);

/// The series without what lies below the universal threshold (Donoho and Johnstone 1994): decomposed, all coefficients
/// shrunk by it, reconstructed. The threshold is that of the series itself. Values saturate at the range of a sample.
/// The series comes back unchanged for an empty name, and, with a log line, for an unknown wavelet, a level below 1 or
/// deeper than the wavelet goes (see WaveletFilters::getMaximumLevel()), and fewer than two samples.
NOX_EXPORT QVector<SampleData> DenoiseSampleData(const QVector<SampleData> &samples, const int &level,
                                                 const QString &waveletName);

} // namespace CommonNOX::DAC::utils
