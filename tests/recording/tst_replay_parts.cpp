#include "entries/catalogue/replay_header.h"
#include "entries/property_keys.h"
#include "recording/recorder/recording_clock.h"
#include "recording/replay/device_replay_status_container.h"
#include "recording/replay/header_reader.h"
#include "recording/replay/replay_pacer.h"

#include <gtest/gtest.h>
#include <limits>

using namespace CommonNOX::Importer;
using namespace CommonNOX::Entries::Recording;
using CommonNOX::PD::Recording::RecordingClock;
namespace Keys = CommonNOX::Entries::Keys;

namespace
{

TEST(DeviceReplayStatusContainer, StagesFillTheirBands)
{
    DeviceReplayStatusContainer status;
    EXPECT_EQ(status.advanceInCurrentStage(), 0);
    const int bands[] = {0, 15, 30, 45, 60, 75, 90, 100};
    for (int stage = 1; stage <= 7; ++stage) {
        for (const int steps : {1, 3, 7, 1000}) {
            EXPECT_EQ(status.switchStage(LoadingStage(stage), steps), bands[stage - 1]);
            int last = 0;
            for (int i = 0; i < steps; ++i)
                last = status.advanceInCurrentStage();
            EXPECT_EQ(last, bands[stage]) << stage << " in " << steps;
            EXPECT_EQ(status.advanceInCurrentStage(), bands[stage]);
        }
        EXPECT_EQ(status.switchStage(LoadingStage(stage), 0), 0);
        EXPECT_EQ(status.advanceInCurrentStage(), 0);
    }
    EXPECT_EQ(status.switchStage(LoadingStage(99), 5), 0);
    status.switchStage(LoadingStage::TimeSpans, 4);
    status.advanceInCurrentStage();
    EXPECT_EQ(status.overallProgress(), 48); // 48.75, rounded down
    const DeviceReplayStatusContainer copy = status;
    status.switchStage(LoadingStage::PeriodUuids, 1);
    EXPECT_EQ(copy.currentStage(), LoadingStage::TimeSpans);
}

TEST(HeaderReader, TheFirstVersionBecomesTheSecond)
{
    PdReplayHeaderV1 header;
    header.set(Keys::Title, QStringLiteral("cable"));
    header.set(Keys::PDDuration, qlonglong(90'500));
    header.set(Keys::GainLevels, QVariantList{1, 2});
    header.set(Keys::CalibrationFactor, QVariantList{0.5, 0.25});
    const auto converted = ConvertHeader(header);
    EXPECT_EQ(converted->get(Keys::Title).toString(), QStringLiteral("cable"));
    EXPECT_EQ(converted->get(Keys::File_Duration).toLongLong(), 90'500);
    EXPECT_EQ(converted->get(Keys::PD_GainLevels).toList(), (QVariantList{1, 2}));
    EXPECT_EQ(converted->get(Keys::PD_CalibrationFactor).toList(), (QVariantList{0.5, 0.25}));
    // Nothing of the first version is left behind.
    for (const QString &name : header.getPropertyNames())
        EXPECT_TRUE(name == QString(Keys::PDDuration) || converted->getPropertyNames().contains(name) ||
                    converted->getPropertyNames().contains(QStringLiteral("PD_") + name))
            << name.toStdString();
}

TEST(RecordingClock, SecondsFollowTheTicks)
{
    constexpr qint64 Largest = std::numeric_limits<qint64>::max();
    const struct
    {
        const char *what;
        std::vector<std::array<qint64, 3>> periods; ///< start, end, rate
        std::vector<quint32> seconds;
    } rows[] = {
        {"from the first period", {{5000, 5100, 100}, {5099, 5100, 100}, {5100, 5200, 100}}, {0, 0, 1}},
        {"without a rate", {{0, 100, 100}, {100, 200, 100}, {0, 0, 0}, {900, 1000, 100}}, {0, 1, 1, 9}},
        {"a gap", {{0, 100, 100}, {360'000, 360'100, 100}}, {0, 3600}},
        {"a clock that begins anew", {{0, 1000, 100}, {0, 100, 100}, {100, 200, 100}}, {0, 10, 11}},
        {"a channel that runs a little behind", {{0, 150, 100}, {60, 160, 100}, {100, 200, 100}}, {0, 0, 1}},
        {"absurd ticks", {{-Largest, 0, 1}, {Largest, Largest, 1}}, {0, std::numeric_limits<quint32>::max()}},
    };
    for (const auto &row : rows) {
        RecordingClock clock;
        for (std::size_t i = 0; i < row.periods.size(); ++i)
            EXPECT_EQ(clock.note(0, row.periods[i][0], row.periods[i][1], quint32(row.periods[i][2])), row.seconds[i])
                << row.what << " at " << i;
    }
}

TEST(ReplayPacer, PeriodsAreDueByTheirTimes)
{
    ReplayPacer pacer;
    const auto waitAt = [&](qint64 ticks, double speed, double now) {
        const double wait = pacer.getWait(ticks, 1000, speed, now);
        pacer.advance();
        return wait;
    };
    EXPECT_EQ(waitAt(0, 1.0, 100.0), 0.0);
    EXPECT_DOUBLE_EQ(waitAt(20, 1.0, 105.0), 15.0);
    EXPECT_DOUBLE_EQ(waitAt(40, 2.0, 120.0), 10.0);
    EXPECT_DOUBLE_EQ(waitAt(40, 2.0, 130.0), 0.0); // of another channel
    EXPECT_DOUBLE_EQ(waitAt(30, 2.0, 130.0), 0.0);
    EXPECT_DOUBLE_EQ(waitAt(60, 2.0, 130.0), 10.0);
    EXPECT_EQ(waitAt(500'000, 1.0, 140.0), 0.0); // a gap is not waited for
    EXPECT_DOUBLE_EQ(waitAt(500'020, 1.0, 140.0), 20.0);
    EXPECT_EQ(waitAt(0, 1.0, 160.0), 0.0); // nor a jump back
    for (const double speed : {0.0, -3.0, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_EQ(waitAt(900, speed, 160.0), 0.0);
    // Who comes ten seconds late hurries for one of them.
    EXPECT_EQ(waitAt(1000, 1.0, 10'000.0), 0.0);
    EXPECT_DOUBLE_EQ(waitAt(2000, 1.0, 10'000.0), 100.0);
}

} // namespace
