#include "dac/samples/sample_utilities.h"

#include "dac/wavelet/wavelet_transform.h"
#include "entries/log.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace CommonNOX::DAC::utils
{

namespace
{

constexpr int ScanSteps = LeastSamplesOfCrossings;
/// A crossing is known well enough when it lies within so many samples.
constexpr int FineEnough = 10;

constexpr double SecondsOfMetre = 0.0007272727272727272;
constexpr double SecondsAtLeast = 0.06818181818181818;
constexpr double ShortestSearch = 0.05;
constexpr double LongestSearch = 3.0;

bool canReduce(const QVector<double> &input, int factor)
{
    return !input.isEmpty() && factor >= 1 && factor < input.size();
}

int signOf(double sample)
{
    return sample > 0.0 ? 1 : -1;
}

double magnitudeOf(SampleData sample)
{
    return std::abs(double(sample));
}

/// In several sums side by side, which a processor adds at once.
template <class Term>
double sumOf(const QVector<SampleData> &samples, Term term)
{
    constexpr int Sums = 16;
    double sums[Sums] = {};
    const SampleData *data = samples.constData();
    int i = 0;
    for (; i + Sums <= samples.size(); i += Sums) {
        for (int k = 0; k < Sums; ++k)
            sums[k] += term(double(data[i + k]));
    }
    for (; i < samples.size(); ++i)
        sums[0] += term(double(data[i]));
    return std::accumulate(std::begin(sums), std::end(sums), 0.0);
}

} // namespace

bool DecimateSamples(const QVector<double> &input, const int &factor, QVector<double> &output)
{
    if (!canReduce(input, factor))
        return false;
    const double share = 1.0 / factor;
    QVector<double> means(input.size() / factor);
    for (int k = 0; k < means.size(); ++k) {
        // Each sample is scaled before it is added, on purpose: results are compared with earlier ones to the last bit.
        double sum = 0.0;
        for (int i = 0; i < factor; ++i)
            sum += input[k * factor + i] * share;
        means[k] = sum;
    }
    output = means;
    return true;
}

bool DownsampleSamples(const QVector<double> &input, const int &factor, QVector<double> &output)
{
    if (!canReduce(input, factor))
        return false;
    QVector<double> peaks(input.size() / factor);
    for (int k = 0; k < peaks.size(); ++k) {
        double peak = 0.0;
        for (int i = 0; i < factor; ++i) {
            const double sample = input[k * factor + i];
            if (std::abs(sample) > std::abs(peak))
                peak = sample;
        }
        peaks[k] = peak;
    }
    output = peaks;
    return true;
}

bool ExtractZeroCrossings(const QVector<double> &samples, QVector<int> &crossings, QVector<int> *signs)
{
    crossings.clear();
    if (signs)
        signs->clear();
    const int step = samples.size() / ScanSteps;
    if (step == 0)
        return false;
    const int last = samples.size() - 1;
    int previous = signOf(samples[0]);
    for (int i = 0;;) {
        const int sign = signOf(samples[i]);
        if (sign != previous) {
            int half = step / 2;
            int position = i - half;
            while (half > FineEnough) {
                const int shift = half / 2;
                position += signOf(samples[std::clamp(position, 0, last)]) == sign ? -shift : shift;
                half = shift;
            }
            crossings.append(position);
            if (signs)
                signs->append(sign);
        }
        previous = sign;
        if (i == last)
            return !crossings.isEmpty();
        i = last - i <= step ? last : i + step;
    }
}

std::uint64_t CalculateDacPeakWidth(const QVector<SampleData> &samples, const int &peakIndex, const double &level)
{
    if (peakIndex < 0 || peakIndex >= samples.size())
        return 0;
    const double peak = samples[peakIndex] == 0 ? 1.0 : double(samples[peakIndex]);
    const double threshold = std::abs(peak * level);
    // The first sample is not looked at, on purpose: it ends the way there in any case.
    int left = peakIndex;
    while (left > 0 && magnitudeOf(samples[left]) > threshold)
        --left;
    int right = peakIndex;
    while (right < samples.size() && magnitudeOf(samples[right]) > threshold)
        ++right;
    return std::uint64_t(right - left);
}

double CalculateSearchTimeFromCableLength(const double &cableLength)
{
    const double seconds = cableLength * SecondsOfMetre + SecondsAtLeast;
    return std::isnan(seconds) ? ShortestSearch : std::clamp(seconds, ShortestSearch, LongestSearch);
}

bool CheckDenoising(qint64 samples, int level, const QString &waveletName, QString &objection)
{
    const auto wavelet = Wavelets::FindWavelet(waveletName);
    if (!wavelet)
        objection = QStringLiteral("there is no wavelet \"%1\"").arg(waveletName);
    else if (samples < 2)
        objection = QStringLiteral("%1 samples are too few").arg(samples);
    else if (level < 1 || level > wavelet->getMaximumLevel(samples))
        objection = QStringLiteral("level %1 is not between 1 and %2, the deepest of %3 for %4 samples")
                        .arg(level)
                        .arg(wavelet->getMaximumLevel(samples))
                        .arg(waveletName)
                        .arg(samples);
    else
        return true;
    return false;
}

QVector<SampleData> DenoiseSampleData(const QVector<SampleData> &samples, const int &level, const QString &waveletName)
{
    if (waveletName.isEmpty())
        return samples;
    QString objection;
    if (!CheckDenoising(samples.size(), level, waveletName, objection)) {
        qCWarning(libraryLog()).noquote()
            << QStringLiteral("DenoiseSampleData() leaves the samples as they are: ") + objection;
        return samples;
    }
    const double count = samples.size();
    const double mean = sumOf(samples, [](double value) { return value; }) / count;
    const double squares = sumOf(samples, [mean](double value) { return (value - mean) * (value - mean); });
    // The spread of the series itself, not of its finest details, and the approximation shrinks too: both on purpose.
    const double threshold = std::sqrt(squares / count) * std::sqrt(2.0 * std::log(count));
    Wavelets::WaveletTransform transform(Wavelets::FindWavelet(waveletName), samples.size(), level);
    transform.decompose(samples.constData());
    transform.shrink(threshold);
    QVector<SampleData> result(samples.size());
    transform.reconstruct(result.data());
    return result;
}

} // namespace CommonNOX::DAC::utils
