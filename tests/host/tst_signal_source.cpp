#include "host/simulated/simulated_signal_source.h"

#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

using namespace NoxHost;

namespace
{

VoltageProfile profileOf(const char *text)
{
    VoltageProfile profile;
    QString error;
    EXPECT_TRUE(VoltageProfile::fromText(QString::fromLatin1(text), profile, error)) << error.toStdString();
    return profile;
}

// FNV-1a over the values, independent of how the structs lie in memory.
quint64 checksumOfFirst(const SimulatedSignalSettings &settings, int periods)
{
    quint64 hash = Q_UINT64_C(0xcbf29ce484222325);
    const auto add = [&hash](std::initializer_list<qint64> values) {
        for (const qint64 value : values) {
            for (int byte = 0; byte < 8; ++byte)
                hash = (hash ^ ((quint64(value) >> (8 * byte)) & 0xFF)) * Q_UINT64_C(0x100000001b3);
        }
    };
    SimulatedSignalSource source(settings);
    for (int i = 0; i < periods * settings.channels; ++i) {
        const RawPeriod period = source.nextPeriod(i % settings.channels).value();
        add({period.channel, qint64(period.index), period.startTicks, period.endTicks});
        for (const auto &peak : period.peaks)
            add({peak.amplitude, peak.voltage, peak.time, peak.flags});
    }
    return hash;
}

} // namespace

TEST(SignalSource, GivesTheSameBytesEverywhere)
{
    SimulatedSignalSettings settings;
    settings.channels = 4;
    settings.profile = profileOf("0:20");
    // Written down once; any other value means that recordings made with a seed can no longer be made again.
    EXPECT_EQ(checksumOfFirst(settings, 10), Q_UINT64_C(2096619464392966454));
    settings.powerFrequency = 16.7;
    settings.profile = VoltageProfile();
    EXPECT_EQ(checksumOfFirst(settings, 200), Q_UINT64_C(6639852874463210991));
}

TEST(SignalSource, DependsOnSeedChannelAndIndexAlone)
{
    SimulatedSignalSettings settings;
    settings.channels = 8;
    settings.profile = profileOf("0:20");
    SimulatedSignalSource inTurn(settings);
    const SimulatedSignalSource source(settings);
    for (int i = 0; i < 40; ++i)
        EXPECT_EQ(inTurn.nextPeriod(i % 8)->peaks, source.period(i % 8, quint64(i / 8))->peaks);
    // Channels 0 and 4 have the same kind, but not the same pulses; nor has another seed.
    EXPECT_NE(source.period(0, 0)->peaks, source.period(4, 0)->peaks);
    settings.seed = 2;
    EXPECT_NE(SimulatedSignalSource(settings).period(0, 0)->peaks, source.period(0, 0)->peaks);
}

TEST(SignalSource, TilesTheTimeWithoutDrift)
{
    const std::pair<double, quint32> rows[] = {
        {50.0, 1'000'000}, {60.0, 10'000'000}, {16.7, 1'000'000}, {0.1, 1'000'000'000}, {999.999, 1'000'003}};
    for (const auto &[frequency, sampleRate] : rows) {
        SimulatedSignalSettings settings;
        settings.powerFrequency = frequency;
        settings.sampleRate = sampleRate;
        settings.profile = profileOf("0:10");
        settings.pulsesPerPeriod = 1.0;
        const SimulatedSignalSource source(settings);
        for (const quint64 index : {quint64(0), quint64(1), quint64(12'345), source.periodCount() - 1}) {
            const RawPeriod period = source.period(0, index).value();
            EXPECT_EQ(period.endTicks, source.startTicks(index + 1));
            EXPECT_LE(period.endTicks, Q_INT64_C(1) << 53);
            const double exact = double(static_cast<long double>(index) * sampleRate / frequency);
            EXPECT_NEAR(double(period.startTicks), exact, 1.0 + exact * 1e-15) << frequency;
            // The cycle begins at a rising zero, and its first quarter ends at the crest.
            EXPECT_EQ(source.rawVoltageAt(period.startTicks), 0);
            const qint64 quarter = (period.endTicks - period.startTicks) / 4;
            EXPECT_NEAR(source.rawVoltageAt(period.startTicks + quarter) * 0.05, 14142.14, 0.5);
            EXPECT_LT(source.rawVoltageAt(period.endTicks - quarter), 0);
        }
        EXPECT_FALSE(source.period(0, source.periodCount()).has_value());
        EXPECT_FALSE(source.period(1, 0).has_value());
        EXPECT_FALSE(source.period(-1, 0).has_value());
    }
}

TEST(SignalSource, RefusesSettingsOutOfRange)
{
    using Settings = SimulatedSignalSettings;
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    const struct
    {
        void (*change)(Settings &);
        const char *field;
    } rows[] = {
        {[](Settings &s) { s.channels = 0; }, "number of channels"},
        {[](Settings &s) { s.channels = 1025; }, "number of channels"},
        {[](Settings &s) { s.kinds.clear(); }, "kind of source"},
        {[](Settings &s) { s.powerFrequency = nan; }, "power frequency"},
        {[](Settings &s) { s.sampleRate = 0; }, "sample rate"},
        {[](Settings &s) { s.sampleRate = 49'999; }, "1000 ticks a period"},
        {[](Settings &s) { s.pulsesPerPeriod = nan; }, "number of pulses"},
        {[](Settings &s) { s.pdCalibration = 0.0; }, "charge calibration"},
        {[](Settings &s) { s.tvCalibration = -1.0; }, "voltage calibration"},
        {[](Settings &s) { s.profile = profileOf("0:5"), s.repeatProfile = true; }, "no duration"},
    };
    for (const auto &row : rows) {
        Settings settings;
        row.change(settings);
        EXPECT_TRUE(settings.error().contains(QLatin1String(row.field))) << row.field;
        SimulatedSignalSource source(settings);
        EXPECT_FALSE(source.nextPeriod(0).has_value());
        EXPECT_EQ(source.rawVoltageAt(0), 0);
    }
}

TEST(VoltageProfile, RefusesTextThatIsNone)
{
    const QByteArray many = QByteArray("0:0,").repeated(1000) + "0:0";
    const std::pair<const char *, const char *> rows[] = {
        {"", "Point 1"},
        {"0:0,", "Point 2"},
        {"0:0,1", "Point 2"},
        {"0:0:0", "Point 1"},
        {"0:0,1:-1", "Point 2"},
        {"0:1001", "Point 1"},
        {"0:nan", "Point 1"},
        {"inf:1", "Point 1"},
        {"1e8:1", "Point 1"},
        {"0:0,2:1,1:1", "Point 3"},
        {many.constData(), "more than 1000 points"},
    };
    for (const auto &[text, words] : rows) {
        VoltageProfile profile;
        QString error;
        EXPECT_FALSE(VoltageProfile::fromText(QString::fromLatin1(text), profile, error)) << text;
        EXPECT_TRUE(error.contains(QLatin1String(words))) << error.toStdString();
        EXPECT_EQ(profile.highestKilovolts(), 20.0) << "the default is left alone";
    }
}

TEST(VoltageProfile, JoinsItsPointsByStraightLines)
{
    const VoltageProfile profile = profileOf(" 1 : 4 ,2:2e1,8:20,8:5,10:0");
    const std::pair<double, double> rows[] = {{0, 4},         {1, 4}, {1.25, 8}, {2, 20}, {5, 20},
                                              {7.999999, 20}, {8, 5}, {9, 2.5},  {10, 0}, {1e9, 0}};
    for (const auto &[seconds, kilovolts] : rows)
        EXPECT_DOUBLE_EQ(profile.kilovoltsAt(seconds), kilovolts) << seconds;
    SimulatedSignalSettings settings;
    settings.profile = profile;
    EXPECT_DOUBLE_EQ(SimulatedSignalSource(settings).kilovoltsAt(19 * qint64(settings.sampleRate)), 0.0);
    settings.repeatProfile = true;
    EXPECT_DOUBLE_EQ(SimulatedSignalSource(settings).kilovoltsAt(19 * qint64(settings.sampleRate)), 2.5);
}

TEST(PortableRandom, DrawsPoissonNumbersAndKnowsTheSine)
{
    PortableRandom random(1, 2, 3);
    for (const double mean : {0.0, 0.3, 20.0}) {
        constexpr int Count = 100'000;
        double sum = 0.0;
        double squares = 0.0;
        for (int i = 0; i < Count; ++i) {
            const double deviation = random.poisson(mean) - mean;
            sum += deviation;
            squares += deviation * deviation;
        }
        EXPECT_NEAR(sum / Count, 0.0, 5.0 * std::sqrt(mean / Count));
        EXPECT_NEAR(squares / Count, mean, 0.05 * mean);
    }
    for (int i = -1000; i <= 1000; ++i)
        EXPECT_NEAR(portableSine(i / 400.0), std::sin(2.0 * M_PI * i / 400.0), 4e-15) << i;
}
