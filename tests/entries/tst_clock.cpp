#include "entries/measurement/clock.h"
#include "entries/measurement/date_time_clock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <thread>
#include <utility>
#include <vector>

using CommonNOX::Clock;
using CommonNOX::DateTimeClock;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(Clock, StartsAtTheFirstCounterValueThatIsNotZeroOrAtAddedTicks)
{
    Clock clock(1000.0);
    EXPECT_EQ(clock.updateClock(0), 0.0);
    EXPECT_EQ(clock.updateClock(1000), 0.0);
    EXPECT_EQ(clock.updateClock(3000), 2.0);
    EXPECT_EQ(clock.updateClock(2999), 2.0) << "a lower value is ignored";
    EXPECT_EQ(clock.addTicks(250), 2.25);
    EXPECT_EQ(clock.convertTicksToTime(4500), 3.5);
    EXPECT_EQ(clock.getDifferenceToClockTime(4500), 1.25);
    EXPECT_EQ(clock.convertTicksToSeconds(4500), 4.5);
    clock.resetClock();
    EXPECT_EQ(clock.convertTicksToTime(0), 0.0);
    EXPECT_EQ(clock.addTicks(0), 0.0);
    EXPECT_EQ(clock.addTicks(1500), 1.5) << "the first ticks count, unlike the first counter value";
    EXPECT_EQ(clock.updateClock(2000), 2.0) << "the clock runs, so this is no new time zero";
}

TEST(Clock, TakesANewRateOnlyWhenItDiffersNoticeably)
{
    for (const auto &[newRate, seconds] : {std::pair{1e6 + 1e-7, 1.0}, // one part in 10^13
                                           {1e6 + 1e-5, 1.0 - 1e-11},  // one part in 10^11
                                           {2e6, 0.5},
                                           {0.0, 0.0},
                                           {nan, 1.0}}) {
        Clock clock(1e6);
        clock.addTicks(1000000);
        clock.setSampleRate(newRate);
        EXPECT_NEAR(clock.convertTicksToTime(1000000), seconds, newRate == 1e6 + 1e-5 ? 1e-13 : 0.0) << newRate;
    }
    Clock clock(0.0);
    EXPECT_EQ(clock.addTicks(1000), 0.0);
    EXPECT_EQ(clock.getDifferenceToClockTime(5000), 0.0);
    clock.setSampleRate(1000.0);
    EXPECT_EQ(clock.convertTicksToSeconds(500), 0.5) << "against the smaller rate";
}

TEST(Clock, KeepsTickDifferencesUnsigned)
{
    Clock clock(1000.0);
    clock.updateClock(1000);
    const double almostAll = 18446744073709551616.0 / 1000.0;
    EXPECT_EQ(clock.getDifferenceToClockTime(999), almostAll);
    EXPECT_EQ(clock.convertTicksToTime(999), almostAll);
    EXPECT_EQ(clock.addTicks(std::numeric_limits<quint64>::max()), almostAll) << "wraps to one tick below the start";
}

TEST(Clock, ConvertsToTicksWhatFitsACount)
{
    struct Row
    {
        double first, second; // sample rate and seconds, or degrees and power frequency at 1 MHz
        quint64 ticks;
    };
    for (const Row &row : {Row{1e6, 0.02, 20000}, Row{1000.0, 0.0019, 1}, Row{1000.0, -0.0005, 0}, Row{1000.0, -1.0, 0},
                           Row{-1000.0, -1.0, 1000}, Row{1.0, 18446744073709549568.0, 18446744073709549568ULL},
                           Row{1.0, 0x1p64, 0}, Row{1.0, nan, 0}, Row{0.0, infinity, 0}})
        EXPECT_EQ(Clock(row.first).convertSecondsToTicks(row.second), row.ticks) << row.first << " Hz " << row.second;
    const Clock clock(1e6);
    // Hundredths of a degree are cut, whole turns dropped, and below zero there are no ticks.
    for (const Row &row :
         {Row{450.0, 50.0, 5000}, Row{720.0, 50.0, 0}, Row{0.009, 0.1, 0}, Row{90.009, 0.1, 2500000}, Row{90.0, 0.0, 0},
          Row{-90.0, 50.0, 0}, Row{-450.0, -50.0, 5000}, Row{36000000090.0, 50.0, 5000}, Row{nan, 50.0, 0},
          Row{infinity, 50.0, 0}, Row{90.0, nan, 0}, Row{90.0, 5e-324, 0}})
        EXPECT_EQ(clock.convertPhaseShiftToClockTicks(row.first, row.second), row.ticks)
            << row.first << " deg " << row.second << " Hz";
    clock.convertPhaseShiftToClockTicks(1e300, 50.0); // any result, but defined
}

// The factors belong to the process, so the whole story is one test, and it can be told once only.
TEST(Clock, FirstUsableRateOfTheProcessDecidesTheStaticConversions)
{
    static bool told = false;
    if (std::exchange(told, true))
        GTEST_SKIP() << "the factors are fixed by now";

    for (const double unusable : {0.0, -0.0, nan, infinity, -infinity, 5e-324}) {
        EXPECT_EQ(Clock::ConvertMsToSamples(1.0, unusable), 0U) << unusable;
        EXPECT_EQ(Clock::ConvertSamplesToMs(1000, unusable), 0.0) << unusable;
    }

    // Whichever thread wins, all of them see the one rate that did.
    constexpr int threadCount = 8;
    std::atomic<int> ready = 0;
    std::vector<quint64> samples(threadCount);
    std::vector<double> milliseconds(threadCount);
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&, i] {
            for (++ready; ready < threadCount;)
                std::this_thread::yield();
            samples[i] = Clock::ConvertMsToSamples(1.0, 1e6 * (i + 1));
            milliseconds[i] = Clock::ConvertSamplesToMs(8000, 1e6 * (i + 1));
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(samples, std::vector<quint64>(threadCount, samples.front()));
    EXPECT_EQ(milliseconds, std::vector<double>(threadCount, milliseconds.front()));

    const quint64 perMs = samples.front();
    EXPECT_TRUE(perMs >= 1000 && perMs <= 8000 && perMs % 1000 == 0) << perMs;
    for (const double later : {2000.0, 0.0, nan}) {
        EXPECT_EQ(Clock::ConvertMsToSamples(1.0, later), perMs) << later;
        EXPECT_EQ(Clock::ConvertSamplesToMs(8000, later), milliseconds.front()) << later;
    }
    EXPECT_EQ(Clock::ConvertMsToSamples(2.0009, 1.0), quint64(std::trunc(2.0009 * double(perMs))));
    for (const double outside : {-1.0, 1e300, infinity, nan})
        EXPECT_EQ(Clock::ConvertMsToSamples(outside, 1.0), 0U) << outside;
}

TEST(DateTimeClock, TellsUtcFromTheComputerOnly)
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const DateTimeClock computer;
    const QDateTime read = QDateTime::fromString(computer.getCurrentDateTimeString(), Qt::ISODate);
    for (const QDateTime &now : {computer.getCurrentDateTime(), read}) {
        EXPECT_EQ(now.timeSpec(), Qt::UTC);
        EXPECT_GE(now, before.addSecs(-1)) << "the text drops the milliseconds";
        EXPECT_LE(now, QDateTime::currentDateTimeUtc());
    }
    DateTimeClock other(DateTimeClock::DateTimeSource(99), QStringLiteral("pool"));
    const DateTimeClock copy(other);
    EXPECT_EQ(other.getCurrentDateTimeString(), QString());
    EXPECT_TRUE(other.setDateTimeSourceParameter(DateTimeClock::DateTimeSource::Computer, QVariant()));
    EXPECT_TRUE(other.getCurrentDateTime().isValid());
    EXPECT_FALSE(copy.getCurrentDateTime().isValid()) << "a copy keeps its own source";
}

} // namespace
