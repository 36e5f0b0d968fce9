#include "entries/catalogue/results_pd.h"
#include "entries/measurement/peak.h"
#include "entries/measurement/period.h"
#include "entries/property_keys.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <thread>
#include <vector>

using namespace CommonNOX;
using namespace CommonNOX::Data;
using namespace Entries::Results::Space2D;
namespace Keys = CommonNOX::Entries::Keys;

namespace
{

constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

struct Case
{
    PeakVector peaks;
    qint64 start = 1000, end = 2000;
    quint32 rate = 1000000, flags = 0;
    double pdCorrection = 1.0, pdCalibration = 0.0, tvCorrection = 1.0, tvCalibration = 0.0;
    GatingStatus gating = GatingStatus::Off;
    bool invert = false, ignore = false;
    double offset = 0.0, span = 360.0;
};

std::shared_ptr<PeriodV2> entryOf(const Case &c)
{
    auto entry = std::make_shared<PeriodV2>();
    entry->set(Keys::StartTime, c.start);
    entry->set(Keys::EndTime, c.end);
    entry->set(Keys::SampleRate, c.rate);
    entry->set(Keys::Flags, c.flags);
    entry->set(Keys::PdHardwareCorrection, c.pdCorrection);
    entry->set(Keys::PdCalibration, c.pdCalibration);
    entry->set(Keys::TvHardwareCorrection, c.tvCorrection);
    entry->set(Keys::TvCalibration, c.tvCalibration);
    entry->set(Keys::Peaks, QVariant::fromValue(c.peaks));
    return entry;
}

bool build(Period &period, const Case &c)
{
    return period.preProcess(entryOf(c), c.gating, c.invert, c.offset, c.span, c.ignore);
}

/// What a period shows, built step by step without regard to speed.
struct Expected
{
    explicit Expected(const Case &c)
    {
        pdCalibrated = std::fabs(c.pdCalibration) > 1e-12;
        tvCalibrated = std::fabs(c.tvCalibration) > 1e-12;
        double chargeScale = c.pdCorrection * (pdCalibrated ? c.pdCalibration : 1.0);
        double voltageScale = c.tvCorrection * (tvCalibrated ? c.tvCalibration : 1.0);
        if (c.ignore)
            chargeScale = voltageScale = 1.0;
        if (c.invert)
            chargeScale = -chargeScale;
        const double span = c.span > 360.0 ? 360.0 : c.span;
        if (!c.peaks.isEmpty())
            absoluteMinimum = std::numeric_limits<double>::max();
        for (const PeakData &peak : c.peaks) {
            EvaluatedEvent event;
            event.time = peak.time;
            event.flags = peak.flags;
            event.charge = peak.amplitude * chargeScale;
            event.voltage = peak.voltage * voltageScale;
            event.phase = double(peak.time - c.start) * span / double(c.end - c.start) + c.offset;
            const bool marked = (peak.flags & 0x10) != 0;
            event.counted = !(int(c.gating) == 3 && marked);
            gated += marked;
            events.push_back(event);
            if (!event.counted)
                continue;
            const double m = std::fabs(event.charge);
            absoluteMaximum = m > absoluteMaximum ? m : absoluteMaximum;
            absoluteMinimum = m < absoluteMinimum ? m : absoluteMinimum;
            double &maximum = event.charge < 0 ? negativeMaximum : positiveMaximum;
            maximum = m > maximum ? m : maximum;
            ++(event.charge < 0 ? negative : positive);
        }
    }
    std::vector<EvaluatedEvent> events;
    double absoluteMaximum = 0, positiveMaximum = 0, negativeMaximum = 0, absoluteMinimum = 0;
    quint32 positive = 0, negative = 0, gated = 0;
    bool pdCalibrated = false, tvCalibrated = false;
};

/// To the last bit; but one NaN is as good as another.
bool same(double a, double b)
{
    return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
}

void expectEqual(const Period &period, const Case &c, int seed)
{
    const Expected expected(c);
    const EvaluatedEventVector events = period.getEvaluatedEvents();
    ASSERT_EQ(std::size_t(events.size()), expected.events.size());
    for (int i = 0; i < events.size(); ++i) {
        const EvaluatedEvent &event = events[i], &model = expected.events[std::size_t(i)];
        ASSERT_TRUE(event.time == model.time && event.flags == model.flags && event.counted == model.counted &&
                    same(event.charge, model.charge) && same(event.phase, model.phase) &&
                    same(event.voltage, model.voltage))
            << "case " << seed << " event " << i << " charge " << event.charge << " / " << model.charge;
    }
    EXPECT_TRUE(same(period.getAbsoluteSignalValueMaximum(), expected.absoluteMaximum)) << seed;
    EXPECT_TRUE(same(period.getAbsolutePositiveSignalValueMaximum(), expected.positiveMaximum)) << seed;
    EXPECT_TRUE(same(period.getAbsoluteNegativeSignalValueMaximum(), expected.negativeMaximum)) << seed;
    EXPECT_TRUE(same(period.getAbsoluteSignalValueMinimum(), expected.absoluteMinimum)) << seed;
    EXPECT_EQ(period.getNumberOfPositiveEvents(), expected.positive) << seed;
    EXPECT_EQ(period.getNumberOfNegativeEvents(), expected.negative) << seed;
    EXPECT_EQ(period.getNumberOfGatedEvents(), expected.gated) << seed;
    EXPECT_TRUE(period.isPdCalibrated() == expected.pdCalibrated && period.isTvCalibrated() == expected.tvCalibrated);
}

Case randomCase(std::mt19937 &random)
{
    const auto pick = [&](const auto &from) { return from[random() % std::size(from)]; };
    const double scales[] = {1,     1,       1,     2.5,   -3.25,    0,         -0.0, 1e-320,
                             1e-12, 1.1e-12, 5e-13, 1e305, Infinity, -Infinity, NaN};
    const double degrees[] = {0, 0, 90, -17.3, 360, 400, 1e-9, -360, Infinity, NaN};
    const qint32 extremes[] = {0, 1, -1, std::numeric_limits<qint32>::max(), std::numeric_limits<qint32>::min(), 4711};
    Case c;
    c.start = pick(std::vector<qint64>{0, -5, 1000, qint64(1) << 40, -(qint64(1) << 60)});
    c.end = c.start + pick(std::vector<qint64>{1, 3, 20000000, qint64(1) << 33});
    c.pdCorrection = pick(scales);
    c.pdCalibration = pick(scales);
    c.tvCorrection = pick(scales);
    c.tvCalibration = pick(scales);
    c.gating = GatingStatus(random() % 4);
    c.invert = random() % 2;
    c.ignore = random() % 8 == 0;
    c.offset = pick(degrees);
    c.span = pick(degrees);
    const bool far = random() % 4 == 0;
    const int count = int(random() % 8 == 0 ? random() % 200 : random() % 10);
    for (int i = 0; i < count; ++i) {
        PeakData peak;
        peak.amplitude = random() % 3 ? pick(extremes) : qint32(random());
        peak.voltage = random() % 3 ? pick(extremes) : qint32(random());
        peak.flags = quint8(random() % 3 ? random() : 0x10);
        const qint64 distances[] = {0, c.end - c.start, qint32(random()), 0x7fffffff, -0x80000000ll};
        const qint64 farther[] = {0x80000000ll, -0x80000001ll, qint64(random()) << 28, -(qint64(random()) << 28)};
        peak.time = c.start + (far && random() % 4 == 0 ? pick(farther) : pick(distances));
        c.peaks.append(peak);
    }
    return c;
}

TEST(Period, EqualsAPlainModelToTheLastBit)
{
    std::mt19937 random(20240229);
    Period reused, lazy(Period::Events::WhenAsked);
    for (int seed = 0; seed < 5000; ++seed) {
        const Case c = randomCase(random);
        ASSERT_TRUE(build(reused, c));
        expectEqual(reused, c, seed);
        ASSERT_TRUE(build(lazy, c));
        expectEqual(lazy, c, seed);
        if (testing::Test::HasFailure())
            return;
    }
}

TEST(Period, EventsAreBuiltOnceForAllWhoAskAtOnce)
{
    Case c;
    for (int i = 0; i < 1000; ++i)
        c.peaks.append({i, i, 1000 + i % 1000, 0});
    for (int round = 0; round < 50; ++round) {
        Period period(Period::Events::WhenAsked);
        ASSERT_TRUE(build(period, c));
        EXPECT_EQ(period.getNumberOfElements(), 1000u);
        std::array<const EvaluatedEvent *, 3> seen{};
        std::vector<std::thread> askers;
        for (auto &place : seen)
            askers.emplace_back([&] { place = period.getEvaluatedEvents().constData(); });
        for (std::thread &asker : askers)
            asker.join();
        EXPECT_TRUE(seen[0] == seen[1] && seen[1] == seen[2]) << "the same events";
        expectEqual(period, c, round);
    }
}

TEST(Period, IsRefusedWithoutTimeOrRate)
{
    for (const auto &[end, rate, valid] :
         {std::tuple<qint64, quint32, bool>{1000, 1000000, false}, {2000, 0, false}, {0, 1000000, true}}) {
        Case c;
        c.peaks = {{5, 6, 1500, 0x10}};
        Period period;
        ASSERT_TRUE(build(period, c));
        c.end = end;
        c.rate = rate;
        EXPECT_FALSE(build(period, c));
        EXPECT_EQ(period.isValid(), valid);
        EXPECT_EQ(period.getDurationInMs() + period.getAbsoluteSignalValueMinimum(), 0.0);
        EXPECT_EQ(period.getNumberOfElements() + period.getNumberOfGatedEvents(), 0u);
    }
    const auto noPeaks = entryOf({});
    noPeaks->set(Keys::Peaks, QStringLiteral("none"));
    Period period;
    EXPECT_TRUE(period.preProcess(noPeaks, GatingStatus::Off, false, 0, 360, false));
    EXPECT_FALSE(period.preProcess(std::shared_ptr<const PeriodV1>(), GatingStatus::Off, false, 0, 360, false));
    EXPECT_EQ(period.getNumberOfElements(), 0u);
}

TEST(Period, UnitFlagsAndPhase)
{
    struct Row
    {
        quint32 flags;
        double calibration;
        bool ignore;
        const char *unit;
        double charge;
    };
    for (const Row &row :
         {Row{0, 1e-12, false, "p.u.", 10}, Row{0, -2e-12, false, "pC", -2e-11}, Row{0, 2.0, true, "pC", 10},
          Row{4, 2.0, false, "mV", 20}, Row{5, 0.0, false, "mV", 10}, Row{8, 0.0, false, "p.u.", 10}}) {
        Case c;
        c.peaks = {{10, 0, 1500, 0}};
        c.flags = row.flags;
        c.pdCalibration = row.calibration;
        c.ignore = row.ignore;
        Period period;
        ASSERT_TRUE(build(period, c));
        EXPECT_EQ(period.getPDUnit(), QLatin1String(row.unit)) << row.flags << " " << row.calibration;
        EXPECT_EQ(period.getEvaluatedEvents()[0].charge, row.charge);
        EXPECT_TRUE(period.isDirty() == (row.flags == 5) && period.isDiscarded() == (row.flags == 8));
    }
    Case c;
    c.peaks = {{1, 0, 2000, 0}, {1, 0, 500, 0}};
    c.offset = 90;
    c.span = 400;
    Period period;
    ASSERT_TRUE(build(period, c));
    EXPECT_EQ(period.getEvaluatedEvents()[0].phase, 450.0) << "360 degrees at most, not wrapped";
    EXPECT_EQ(period.getEvaluatedEvents()[1].phase, -90.0);
    c.rate *= 3;
    Period faster;
    ASSERT_TRUE(build(faster, c));
    EXPECT_EQ(faster.getDurationInMs(), period.getDurationInMs()) << "by the factor of the first of the process";
    EXPECT_GT(faster.getDurationInMs(), 0.0);
    for (const auto &[time, place] : {std::pair<qint64, int>{999, -1}, {1000, 0}, {1999, 0}, {2000, 1}})
        EXPECT_EQ(period.isBetween(time), place) << time;
}

TEST(Period, DiagramsShowSuppressedPulsesApart)
{
    Case c;
    c.peaks = {{-5, 1, 1250, 0}, {7, 2, 1500, 0x10}, {9, 3, 1750, 0xef}};
    Period period;
    ASSERT_TRUE(build(period, c));
    DisplayData signal, gated;
    using Columns = QVector<double>;
    EXPECT_TRUE(period.postProcess(false, &signal, &gated, GatingStatus::Suppressing));
    EXPECT_EQ(signal.signal, (Columns{-5, 9}));
    EXPECT_EQ(signal.phase, (Columns{90, 270}));
    EXPECT_EQ(gated.voltage, Columns{2});
    EXPECT_TRUE(period.postProcess(true, &signal, &gated, GatingStatus::Marking));
    EXPECT_EQ(signal.signal, (Columns{5, 7, 9}));
    EXPECT_TRUE(gated.signal.isEmpty() && gated.phase.isEmpty() && gated.voltage.isEmpty())
        << "nothing of the call before";
    EXPECT_TRUE(period.postProcess(true, &signal, nullptr, GatingStatus::Suppressing));
    EXPECT_FALSE(period.postProcess(true, nullptr, &gated, GatingStatus::Suppressing));
}

TEST(Period, BuffersOfThoseThatAreGoneLeakNothing)
{
    Case large;
    for (int i = 0; i < 100; ++i)
        large.peaks.append({i + 1, i, 1000 + i, 0x10});
    auto gone = std::make_unique<Period>();
    ASSERT_TRUE(build(*gone, large));
    const EvaluatedEventVector kept = gone->getEvaluatedEvents();
    const auto another = std::make_unique<Period>();
    ASSERT_TRUE(build(*another, large));
    gone.reset();
    for (const int count : {100, 99, 1, 0, 101}) {
        Case c;
        c.peaks = PeakVector(count);
        ASSERT_TRUE(build(*another, c));
        expectEqual(*another, c, count);
    }
    EXPECT_EQ(kept.size(), 100);
    EXPECT_EQ(kept.last().charge, 100.0) << "who holds the events of a period keeps them";
}

TEST(Period, ComparesTimesFromBothSidesAtOnce)
{
    Period a, b;
    Case c;
    ASSERT_TRUE(build(a, c) && build(b, c));
    std::thread rebuilding([&] {
        for (int i = 0; i < 500; ++i)
            EXPECT_TRUE(build(a, c) && build(b, c));
    });
    std::thread other([&] {
        for (int i = 0; i < 500; ++i)
            EXPECT_TRUE(b.isTimeIdenticalTo(a));
    });
    for (int i = 0; i < 500; ++i)
        EXPECT_TRUE(a.isTimeIdenticalTo(b) && a.isTimeIdenticalTo(a));
    other.join();
    rebuilding.join();
    for (const auto &[start, end] : {std::pair<qint64, qint64>{1000, 2001}, {1001, 2000}}) {
        c.start = start;
        c.end = end;
        EXPECT_TRUE(build(b, c) && !a.isTimeIdenticalTo(b));
    }
}

} // namespace
