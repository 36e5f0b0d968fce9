#include "dac/samples/sample_utilities.h"
#include "dac/wavelet/wavelet_transform.h"
#include "tests/support/log_catcher.h"

#include <QRegularExpression>

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

using namespace CommonNOX::DAC;
using namespace CommonNOX::DAC::utils;

namespace
{

/// Orthogonality or biorthogonality, and the moments that a high pass must not see.
TEST(Wavelets, FiltersHoldTheirConditions)
{
    for (const QString &name : Wavelets::ListWavelets()) {
        const auto wavelet = Wavelets::FindWavelet(name);
        const auto &analysis = wavelet->decompositionLow;
        const auto &synthesis = wavelet->reconstructionLow;
        const int length = wavelet->getLength();
        ASSERT_EQ(length % 2, 0);
        for (int shift = -length / 2 + 1; shift < length / 2; ++shift) {
            double product = 0.0;
            for (int k = 0; k < length; ++k) {
                // The reversed synthesis filter is the dual of the analysis filter.
                const int other = length - 1 - (k + 2 * shift);
                product +=
                    other >= 0 && other < length ? analysis[std::size_t(k)] * synthesis[std::size_t(other)] : 0.0;
            }
            EXPECT_NEAR(product, shift == 0 ? 1.0 : 0.0, 1e-12) << name.toStdString() << " at " << shift;
        }
        const QString order = name.mid(name.indexOf(QRegularExpression(QStringLiteral("[0-9]"))));
        int moments = name == QLatin1String("haar") ? 1 : order.section(QLatin1Char('.'), 0, 0).toInt();
        if (name.startsWith(QLatin1String("coif")))
            moments *= 2;
        if (name.startsWith(QLatin1String("rbio")))
            moments = order.section(QLatin1Char('.'), 1).toInt();
        // The filter that is in general use under this name has one moment less than its name says.
        if (name == QLatin1String("rbio5.5"))
            moments = 4;
        for (int p = 0; p < moments; ++p) {
            double moment = 0.0;
            for (int k = 0; k < length; ++k)
                moment += wavelet->decompositionHigh[std::size_t(k)] * std::pow(double(k) / length, p);
            EXPECT_NEAR(moment, 0.0, 1e-11) << name.toStdString() << " of order " << p;
        }
    }
    EXPECT_EQ(Wavelets::ListWavelets().size(), 75);
    EXPECT_FALSE(Wavelets::FindWavelet(QStringLiteral("db21")) || Wavelets::FindWavelet(QString()));
}

TEST(Wavelets, SeriesComeBack)
{
    std::mt19937 chance(3);
    std::normal_distribution<double> normal(0.0, 1000.0);
    for (const char *name : {"haar", "db4", "db20", "sym8", "coif5", "bior3.9", "rbio6.8"}) {
        const auto wavelet = Wavelets::FindWavelet(QString::fromLatin1(name));
        for (const int count : {1, 2, 3, 17, 64, 501, 5000}) {
            for (const int level : {1, 3, 6}) {
                std::vector<double> samples(std::size_t(count), 0.0);
                for (double &sample : samples)
                    sample = normal(chance);
                const std::vector<double> back =
                    Wavelets::Reconstruct(wavelet, Wavelets::Decompose(wavelet, samples, level), count);
                ASSERT_EQ(back.size(), samples.size());
                for (std::size_t i = 0; i < samples.size(); ++i)
                    EXPECT_NEAR(back[i], samples[i], 1e-7) << name << ' ' << count << ' ' << level;
            }
        }
    }
    const auto wavelet = Wavelets::FindWavelet(QStringLiteral("db4"));
    EXPECT_TRUE(Wavelets::Decompose(wavelet, {}, 3).empty() && Wavelets::Decompose(wavelet, {1.0}, 0).empty());
    EXPECT_TRUE(Wavelets::Reconstruct(wavelet, {}, 5).empty() &&
                Wavelets::Reconstruct(wavelet, {{1.0}, {2.0}}, 9).empty());
    const std::pair<qint64, int> levels[] = {{0, 0},  {1, 0},  {6, 0},  {13, 0},
                                             {14, 1}, {27, 1}, {28, 2}, {7 * 1024, 10}};
    for (const auto &[samples, level] : levels)
        EXPECT_EQ(wavelet->getMaximumLevel(samples), level) << samples;
}

TEST(SampleUtilities, BlocksAreReduced)
{
    QVector<double> output{99.0};
    for (const auto &[input, factor] :
         {std::pair(QVector<double>(), 2), {{1.0}, 1}, {{1.0, 2.0}, 2}, {{1.0, 2.0}, 0}, {{1.0}, -1}}) {
        EXPECT_FALSE(DecimateSamples(input, factor, output) || DownsampleSamples(input, factor, output));
        EXPECT_EQ(output, QVector<double>{99.0});
    }
    EXPECT_TRUE(DecimateSamples({1, 2, 3, 4, 5}, 2, output));
    EXPECT_EQ(output, (QVector<double>{1.5, 3.5}));
    // Each sample is scaled before it is added.
    EXPECT_TRUE(DecimateSamples({0.1, 0.2, 0.7, 0.0}, 3, output));
    EXPECT_EQ(output.first(), 0.1 * (1.0 / 3) + 0.2 * (1.0 / 3) + 0.7 * (1.0 / 3));
    EXPECT_TRUE(DownsampleSamples({3, -5, 5, 0, 0, 0, 7}, 3, output));
    EXPECT_EQ(output, (QVector<double>{-5.0, 0.0}));
}

TEST(SampleUtilities, CrossingsAreNarrowedDown)
{
    const auto step = [](int count, int change) {
        QVector<double> samples(count, 1.0);
        std::fill(samples.begin() + change, samples.end(), -1.0);
        return samples;
    };
    QVector<int> crossings;
    QVector<int> signs;
    for (const auto &[count, change, found] : {std::tuple(1000, 500, 495), {100, 50, 50}, {2100, 1050, 1040}}) {
        ASSERT_TRUE(ExtractZeroCrossings(step(count, change), crossings, &signs)) << count;
        EXPECT_EQ(crossings, QVector<int>{found});
        EXPECT_EQ(signs, QVector<int>{-1});
    }
    for (const int change : {1234, 5000, 9999, 99'950}) {
        ASSERT_TRUE(ExtractZeroCrossings(step(100'000, change), crossings, nullptr));
        EXPECT_NEAR(crossings.first(), change, 40);
    }
    // A sample of zero is negative; so few samples say nothing.
    EXPECT_TRUE(ExtractZeroCrossings(QVector<double>(50, 1.0) + QVector<double>(50, 0.0), crossings, &signs));
    EXPECT_FALSE(ExtractZeroCrossings(QVector<double>(200, 0.0), crossings, &signs) || !signs.isEmpty());
    for (const int count : {0, 1, 99})
        EXPECT_FALSE(ExtractZeroCrossings(step(count, count / 2), crossings, &signs));
}

TEST(SampleUtilities, PeaksAndCables)
{
    const struct
    {
        QVector<SampleData> samples;
        int index;
        double level;
        std::uint64_t width;
    } rows[] = {
        {{0, 1, 4, 9, 5, 4, 0}, 3, 0.5, 2 + 1},
        {{9, 9, 9}, 1, 0.5, 2 + 1},
        {{0, 0, 0}, 1, 0.5, 0},
        {{1, 2}, -1, 0.5, 0},
        {{1, 2}, 2, 0.5, 0},
        {{std::numeric_limits<SampleData>::min(), 1}, 0, 0.5, 1},
    };
    for (const auto &row : rows)
        EXPECT_EQ(CalculateDacPeakWidth(row.samples, row.index, row.level), row.width);
    const std::pair<double, double> times[] = {{0, 0.06818181818181818}, {10'000, 3.0}, {-100, 0.05}, {4031.25, 3.0}};
    for (const auto &[length, seconds] : times)
        EXPECT_DOUBLE_EQ(CalculateSearchTimeFromCableLength(length), seconds);
    EXPECT_EQ(CalculateSearchTimeFromCableLength(std::nan("")), 0.05);
}

TEST(SampleUtilities, DenoisingLeavesAloneWhatItCannotDo)
{
    LogCatcher log;
    const QVector<SampleData> samples{5, -3, 8, 1, 0, 2, 9, 4, 5, -3, 8, 1, 0, 2, 9, 4};
    EXPECT_EQ(DenoiseSampleData(samples, 3, QString()), samples);
    EXPECT_TRUE(LogCatcher::take().isEmpty());
    for (const auto &[level, name] : {std::pair(1, "nosuch"), {0, "db2"}, {-1, "db2"}, {4, "db2"}, {1, "db20"}}) {
        EXPECT_EQ(DenoiseSampleData(samples, level, QString::fromLatin1(name)), samples);
        EXPECT_EQ(LogCatcher::take().size(), 1);
    }
    EXPECT_EQ(DenoiseSampleData({7}, 1, QStringLiteral("haar")), QVector<SampleData>{7});
    // A rectangle of full height stays within the range of a sample.
    QVector<SampleData> extreme(512, std::numeric_limits<SampleData>::min());
    std::fill(extreme.begin(), extreme.begin() + 200, std::numeric_limits<SampleData>::max());
    EXPECT_EQ(DenoiseSampleData(extreme, 2, QStringLiteral("db8")).size(), extreme.size());
}

} // namespace
