#include "host/simulated/simulated_signal_source.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
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

/// One channel of one kind under a constant voltage.
SimulatedSignalSettings constantVoltage(DischargeKind kind, const char *profile)
{
    SimulatedSignalSettings settings;
    settings.kinds = {kind};
    settings.profile = profileOf(profile);
    return settings;
}

struct Sector
{
    double from = 0.0; // degrees
    double to = 0.0;
    int sign = 0; // of the charge; 0 for both
};

struct Totals
{
    int pulses = 0;
    int positive = 0;
    double absoluteCharge = 0.0; // pC
};

Totals totalsOf(const SimulatedSignalSource &source, int periods)
{
    Totals totals;
    for (int index = 0; index < periods; ++index) {
        const std::optional<RawPeriod> period = source.period(0, quint64(index));
        for (const auto &peak : period->peaks) {
            ++totals.pulses;
            totals.positive += peak.amplitude > 0;
            totals.absoluteCharge += std::abs(peak.amplitude) * period->pdCalibration;
        }
    }
    return totals;
}

// FNV-1a over the values, independent of how the structs lie in memory.
quint64 checksum(const RawPeriod &period, quint64 hash = Q_UINT64_C(0xcbf29ce484222325))
{
    const auto add = [&hash](qint64 value) {
        for (int byte = 0; byte < 8; ++byte)
            hash = (hash ^ ((quint64(value) >> (8 * byte)) & 0xFF)) * Q_UINT64_C(0x100000001b3);
    };
    for (const qint64 value : {qint64(period.channel), qint64(period.index), period.startTicks, period.endTicks})
        add(value);
    for (const auto &peak : period.peaks) {
        for (const qint64 value : {qint64(peak.amplitude), qint64(peak.voltage), peak.time, qint64(peak.flags)})
            add(value);
    }
    return hash;
}

quint64 checksumOfFirst(const SimulatedSignalSettings &settings, int periods)
{
    SimulatedSignalSource source(settings);
    quint64 hash = Q_UINT64_C(0xcbf29ce484222325);
    for (int i = 0; i < periods; ++i) {
        for (int channel = 0; channel < settings.channels; ++channel)
            hash = checksum(source.nextPeriod(channel).value(), hash);
    }
    return hash;
}

} // namespace

struct KindCase
{
    DischargeKind kind;
    double kilovolts;
    double smallest; // pC
    double largest;
    std::vector<Sector> sectors;
    double positivePart; // expected part of positive charges
};

class SourceKind : public testing::TestWithParam<KindCase>
{};

TEST_P(SourceKind, StaysInItsSectorsSignsAndCharges)
{
    const KindCase &expected = GetParam();
    const SimulatedSignalSettings settings =
        constantVoltage(expected.kind, QByteArray("0:" + QByteArray::number(expected.kilovolts)).constData());
    const SimulatedSignalSource source(settings);
    std::vector<int> hits(expected.sectors.size());
    Totals totals;
    for (quint64 index = 0; index < 400; ++index) {
        const RawPeriod period = source.period(0, index).value();
        EXPECT_TRUE(std::is_sorted(period.peaks.begin(), period.peaks.end(),
                                   [](const auto &a, const auto &b) { return a.time < b.time; }));
        for (const auto &peak : period.peaks) {
            ASSERT_GE(peak.time, period.startTicks);
            ASSERT_LT(peak.time, period.endTicks);
            const double phase =
                double(peak.time - period.startTicks) * 360.0 / double(period.endTicks - period.startTicks);
            const double charge = peak.amplitude * period.pdCalibration;
            ASSERT_GE(std::abs(charge), expected.smallest);
            ASSERT_LE(std::abs(charge), expected.largest);
            const double kilovolts = expected.kilovolts * std::sqrt(2.0) * std::sin(phase * M_PI / 180.0);
            ASSERT_NEAR(peak.voltage * period.tvCalibration, kilovolts, 0.51 * period.tvCalibration);
            const auto sector = std::find_if(expected.sectors.begin(), expected.sectors.end(), [&](const Sector &each) {
                return phase >= each.from && phase <= each.to && each.sign * charge >= 0.0;
            });
            ASSERT_NE(sector, expected.sectors.end()) << phase << " degrees, " << charge << " pC";
            ++hits[std::size_t(sector - expected.sectors.begin())];
            ++totals.pulses;
            totals.positive += charge > 0.0;
        }
    }
    EXPECT_GT(*std::min_element(hits.begin(), hits.end()), 0) << "a sector is empty";
    // Means of 400 Poisson numbers of 50 each, and of 20000 signs: five standard deviations.
    EXPECT_NEAR(totals.pulses / 400.0, settings.pulsesPerPeriod, 5.0 * std::sqrt(50.0 / 400.0));
    EXPECT_NEAR(double(totals.positive) / totals.pulses, expected.positivePart, 5.0 * 0.5 / std::sqrt(20000.0));
}

INSTANTIATE_TEST_SUITE_P(
    , SourceKind,
    testing::Values(KindCase{DischargeKind::Void, 12, 50, 1000, {{0, 90, 1}, {180, 270, -1}}, 0.5},
                    KindCase{DischargeKind::Void, 40, 50, 1000, {{0, 90, 1}, {180, 270, -1}}, 0.5},
                    KindCase{DischargeKind::Surface, 20, 100, 5000, {{0, 120, 1}, {180, 300, -1}}, 0.3},
                    KindCase{DischargeKind::Corona, 10, 20, 100, {{225, 315, -1}}, 0.0},
                    KindCase{DischargeKind::Corona, 20, 20, 200, {{225, 315, -1}, {60, 120, 1}}, 0.05},
                    KindCase{DischargeKind::Noise, 0, 0.4, 20, {{0, 90}, {90, 180}, {180, 270}, {270, 360}}, 0.5}),
    [](const auto &row) {
        return row.param.kind == DischargeKind::Void && row.param.kilovolts > 20
                   ? std::string("VoidFarAboveInception")
                   : dischargeKindName(row.param.kind).toStdString() + std::to_string(int(row.param.kilovolts));
    });

TEST(SignalSource, GrowsWithTheVoltageFromInceptionOn)
{
    for (const DischargeKind kind : {DischargeKind::Void, DischargeKind::Surface, DischargeKind::Corona}) {
        // A period's voltage is the one at its start; the profile climbs 1 kV in 50 periods.
        const SimulatedSignalSource source(constantVoltage(kind, "0:0,20:20,20:0"));
        std::array<Totals, 20> steps;
        for (quint64 index = 0; index < 1000; ++index) {
            const RawPeriod period = source.period(0, index).value();
            Totals &step = steps[std::size_t(index / 50)];
            for (const auto &peak : period.peaks) {
                ++step.pulses;
                step.absoluteCharge += std::abs(peak.amplitude) * period.pdCalibration;
            }
        }
        const auto inception = std::size_t(inceptionKilovolts(kind));
        const std::string name = dischargeKindName(kind).toStdString();
        for (std::size_t i = 0; i < inception; ++i)
            EXPECT_EQ(steps[i].pulses, 0) << name << " at " << i << " kV";
        EXPECT_GT(steps[19].pulses, 3 * steps[inception + 1].pulses) << name;
        if (kind != DischargeKind::Corona) {
            EXPECT_GT(steps[19].absoluteCharge / steps[19].pulses,
                      1.1 * steps[inception + 1].absoluteCharge / steps[inception + 1].pulses)
                << name;
        }
        EXPECT_TRUE(source.period(0, 1001)->peaks.isEmpty()) << "the voltage is off";
    }
}

TEST(SignalSource, SurfaceIsLargerThanVoidAndLargestInItsPositiveHalf)
{
    const Totals inside = totalsOf(SimulatedSignalSource(constantVoltage(DischargeKind::Void, "0:20")), 200);
    const SimulatedSignalSource surface(constantVoltage(DischargeKind::Surface, "0:20"));
    const Totals outside = totalsOf(surface, 200);
    EXPECT_GT(outside.absoluteCharge / outside.pulses, 1.5 * inside.absoluteCharge / inside.pulses);
    double positive = 0.0;
    for (quint64 index = 0; index < 200; ++index) {
        const RawPeriod period = surface.period(0, index).value();
        for (const auto &peak : period.peaks)
            positive += std::max(peak.amplitude, 0) * 0.01;
    }
    EXPECT_GT(positive / outside.positive,
              2.0 * (outside.absoluteCharge - positive) / (outside.pulses - outside.positive));
}

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
    SimulatedSignalSource one(settings);
    const SimulatedSignalSource two(settings);
    std::vector<quint64> sums;
    for (quint64 index = 0; index < 5; ++index) {
        for (int channel = 0; channel < 8; ++channel)
            sums.push_back(checksum(one.nextPeriod(channel).value()));
    }
    // Backwards and from another object.
    for (int i = 39; i >= 0; --i)
        EXPECT_EQ(checksum(two.period(i % 8, quint64(i / 8)).value()), sums[std::size_t(i)]);
    EXPECT_EQ(one.nextPeriod(3)->index, 5u);
    EXPECT_EQ(two.kind(5), DischargeKind::Surface);
    // Channels 0 and 4 have the same kind, but not the same pulses; nor has another seed.
    EXPECT_NE(two.period(0, 0)->peaks, two.period(4, 0)->peaks);
    settings.seed = 2;
    EXPECT_NE(SimulatedSignalSource(settings).period(0, 0)->peaks, two.period(0, 0)->peaks);
}

TEST(SignalSource, TilesTheTimeWithoutDrift)
{
    const struct
    {
        double frequency;
        quint32 sampleRate;
    } rows[] = {{50.0, 1'000'000}, {60.0, 10'000'000}, {16.7, 1'000'000}, {0.1, 1'000'000'000}, {999.999, 1'000'003}};
    for (const auto &row : rows) {
        SimulatedSignalSettings settings;
        settings.powerFrequency = row.frequency;
        settings.sampleRate = row.sampleRate;
        settings.profile = profileOf("0:10");
        settings.pulsesPerPeriod = 1.0;
        const SimulatedSignalSource source(settings);
        EXPECT_EQ(source.powerFrequency(), row.frequency);
        for (const quint64 index : {quint64(0), quint64(1), quint64(2), quint64(12'345), source.periodCount() - 1}) {
            const RawPeriod period = source.period(0, index).value();
            EXPECT_EQ(period.endTicks, source.startTicks(index + 1));
            EXPECT_LE(period.endTicks, Q_INT64_C(1) << 53);
            const auto exact =
                static_cast<long double>(index) * row.sampleRate / static_cast<long double>(row.frequency);
            EXPECT_NEAR(double(period.startTicks), double(exact), 1.0 + double(exact) * 1e-15) << row.frequency;
            // The cycle begins at a rising zero, and its first quarter ends at the crest.
            EXPECT_EQ(source.rawVoltageAt(period.startTicks), 0);
            const qint64 quarter = (period.endTicks - period.startTicks) / 4;
            EXPECT_NEAR(source.rawVoltageAt(period.startTicks + quarter) * 0.05, 14142.14, 0.5);
            EXPECT_LT(source.rawVoltageAt(period.endTicks - quarter), 0);
        }
        EXPECT_FALSE(source.period(0, source.periodCount()).has_value());
        EXPECT_FALSE(source.period(0, std::numeric_limits<quint64>::max()).has_value());
        EXPECT_FALSE(source.period(1, 0).has_value());
        EXPECT_FALSE(source.period(-1, 0).has_value());
    }
}

TEST(SignalSource, RepeatsItsProfileWhenAsked)
{
    SimulatedSignalSettings settings;
    settings.profile = profileOf("0:0,2:20");
    const qint64 second = settings.sampleRate;
    EXPECT_DOUBLE_EQ(SimulatedSignalSource(settings).kilovoltsAt(5 * second), 20.0);
    settings.repeatProfile = true;
    EXPECT_DOUBLE_EQ(SimulatedSignalSource(settings).kilovoltsAt(5 * second), 10.0);
}

TEST(SignalSource, RefusesSettingsOutOfRange)
{
    using Settings = SimulatedSignalSettings;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct
    {
        std::function<void(Settings &)> change;
        const char *error;
    } rows[] = {
        {[](Settings &) {}, ""},
        {[](Settings &s) { s.channels = 0; }, "The number of channels must be 1 to 1024."},
        {[](Settings &s) { s.channels = 1025; }, "The number of channels must be 1 to 1024."},
        {[](Settings &s) { s.kinds.clear(); }, "At least one kind of source is needed."},
        {[](Settings &s) { s.powerFrequency = 0.0; }, "The power frequency must be 0.01 to 1000 Hz."},
        {[nan](Settings &s) { s.powerFrequency = nan; }, "The power frequency must be 0.01 to 1000 Hz."},
        {[](Settings &s) { s.sampleRate = 0; }, "The sample rate must be 10000 to 1000000000 ticks per second."},
        {[](Settings &s) { s.sampleRate = 49'999; }, "The sample rate must give at least 1000 ticks a period."},
        {[nan](Settings &s) { s.pulsesPerPeriod = nan; }, "The number of pulses a period must be 0 to 100000."},
        {[](Settings &s) { s.pdCalibration = 0.0; }, "The charge calibration must be 0.0001 to 1000 pC per unit."},
        {[](Settings &s) { s.tvCalibration = -1.0; }, "The voltage calibration must be 0.000001 to 1 kV per unit."},
        {[](Settings &s) {
             s.profile = profileOf("0:5");
             s.repeatProfile = true;
         },
         "A voltage profile of no duration cannot be repeated."},
    };
    for (const auto &row : rows) {
        Settings settings;
        row.change(settings);
        EXPECT_EQ(settings.error().toStdString(), row.error);
        SimulatedSignalSource source(settings);
        EXPECT_EQ(source.nextPeriod(0).has_value(), settings.error().isEmpty());
        EXPECT_EQ(source.rawVoltageAt(0), 0);
        EXPECT_EQ(source.startTicks(0), 0);
    }
}

TEST(VoltageProfile, ReadsTextAndRefusesWhatIsNone)
{
    const QString syntax = QStringLiteral(
        "Point %1 of the voltage profile is not SECONDS:KILOVOLTS with 0 to 10000000 s and 0 to 1000 kV.");
    const struct
    {
        QString text;
        QString error;
    } rows[] = {
        {QStringLiteral("0:0,2:20,8:20,10:0"), {}},
        {QStringLiteral(" 1.5 : 2e1 "), {}},
        {QStringLiteral("0:0,5:5,5:0"), {}},
        {QString(), syntax.arg(1)},
        {QStringLiteral("0:0,"), syntax.arg(2)},
        {QStringLiteral("0:0,1"), syntax.arg(2)},
        {QStringLiteral("0:0:0"), syntax.arg(1)},
        {QStringLiteral("0:0,1:-1"), syntax.arg(2)},
        {QStringLiteral("0:1001"), syntax.arg(1)},
        {QStringLiteral("0:nan"), syntax.arg(1)},
        {QStringLiteral("inf:1"), syntax.arg(1)},
        {QStringLiteral("1e8:1"), syntax.arg(1)},
        {QStringLiteral("0:0,2:1,1:1"),
         QStringLiteral("Point 3 of the voltage profile is earlier than the point before.")},
        {QStringLiteral("0:0,").repeated(1000) + QStringLiteral("0:0"),
         QStringLiteral("The voltage profile has more than 1000 points.")},
    };
    for (const auto &row : rows) {
        VoltageProfile profile;
        QString error;
        EXPECT_EQ(VoltageProfile::fromText(row.text, profile, error), row.error.isEmpty()) << row.text.toStdString();
        EXPECT_EQ(error.toStdString(), row.error.toStdString());
        if (!row.error.isEmpty()) {
            EXPECT_EQ(profile.highestKilovolts(), 20.0) << "the default is left alone";
        }
    }
}

TEST(VoltageProfile, JoinsItsPointsByStraightLines)
{
    const VoltageProfile profile = profileOf("1:4,2:20,8:20,8:5,10:0");
    const struct
    {
        double seconds;
        double kilovolts;
    } rows[] = {{0, 4}, {1, 4}, {1.25, 8}, {2, 20}, {5, 20}, {7.999999, 20}, {8, 5}, {9, 2.5}, {10, 0}, {1e9, 0}};
    for (const auto &row : rows)
        EXPECT_DOUBLE_EQ(profile.kilovoltsAt(row.seconds), row.kilovolts) << row.seconds;
    EXPECT_EQ(profile.duration(), 10.0);
}

TEST(PortableRandom, DrawsTheDistributionsItNames)
{
    PortableRandom random(1, 2, 3);
    constexpr int Count = 100'000;
    struct Moments
    {
        double sum = 0.0;
        double squares = 0.0;
        void add(double x) { sum += x, squares += x * x; }
        double mean() const { return sum / Count; }
        double variance() const { return squares / Count - mean() * mean(); }
    };
    Moments uniform, normal, exponential, few, many;
    for (int i = 0; i < Count; ++i) {
        uniform.add(random.uniform());
        normal.add(random.normal());
        exponential.add(random.exponential());
        few.add(random.poisson(0.3));
        many.add(random.poisson(20.0));
    }
    const struct
    {
        const char *name;
        Moments found;
        double mean;
        double variance;
    } rows[] = {{"uniform", uniform, 0.5, 1.0 / 12.0},
                {"normal", normal, 0.0, 1.0},
                {"exponential", exponential, 1.0, 1.0},
                {"few", few, 0.3, 0.3},
                {"many", many, 20.0, 20.0}};
    for (const auto &row : rows) {
        EXPECT_NEAR(row.found.mean(), row.mean, 5.0 * std::sqrt(row.variance / Count)) << row.name;
        EXPECT_NEAR(row.found.variance(), row.variance, 0.05 * row.variance) << row.name;
    }
    EXPECT_EQ(random.poisson(0.0), 0);
    for (int i = -1000; i <= 1000; ++i)
        EXPECT_NEAR(portableSine(i / 400.0), std::sin(2.0 * M_PI * i / 400.0), 4e-15) << i;
}
