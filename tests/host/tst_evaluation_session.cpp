#include "entries/property_keys.h"
#include "host/evaluation/evaluation_session.h"
#include "platform/data_store.h"

#include <gtest/gtest.h>

#include <tuple>

namespace
{

using namespace NoxHost;
namespace Keys = CommonNOX::Entries::Keys;

EvaluationSettings settingsFor(const QStringList &evaluators)
{
    EvaluationSettings settings;
    settings.evaluators = evaluators;
    return settings;
}

RawPeriod makePeriod(int channel, quint64 index, std::initializer_list<qint32> amplitudes)
{
    RawPeriod period;
    period.channel = channel;
    period.index = index;
    period.startTicks = qint64(index) * 20000;
    period.endTicks = period.startTicks + 20000;
    period.sampleRate = 1'000'000;
    period.pdCalibration = 1.0;
    for (const qint32 amplitude : amplitudes)
        period.peaks.append({amplitude, 0, period.startTicks, 0});
    return period;
}

TEST(EvaluationSession, ReadingsComeOnceInOrderOfPeriodChannelProcessor)
{
    // More periods than a data store keeps: none may be lost to its retention.
    const quint64 periods = 2 * Utilities::DataStore::DefaultRetention;
    EvaluationSession session(settingsFor({QStringLiteral("qmax"), QStringLiteral("frequency")}));
    std::vector<Reading> readings;
    const auto take = [&] {
        for (Reading &reading : session.takeReadings())
            readings.push_back(std::move(reading));
    };
    for (quint64 index = 0; index < periods; ++index) {
        for (const int channel : {1, 0}) {
            ASSERT_TRUE(session.addPeriod(makePeriod(channel, index, {qint32(index) + 1})));
            take();
        }
        EXPECT_LE(session.getPeriodsOnTheirWay(), EvaluationSession::MaximumPeriods);
    }
    ASSERT_TRUE(session.finish());
    take();
    EXPECT_TRUE(session.takeReadings().empty());

    ASSERT_EQ(readings.size(), periods * 4);
    const QString names[] = {QStringLiteral("frequency"), QStringLiteral("qmax")};
    for (std::size_t i = 0; i < readings.size(); ++i) {
        const Reading &reading = readings[i];
        ASSERT_EQ(std::tuple(reading.period, reading.channel, reading.processor),
                  std::tuple(quint64(i / 4), int(i / 2 % 2), names[i % 2]));
        if (i % 2 == 1) {
            ASSERT_EQ(reading.record->get(Keys::AbsolutePeakValue).toDouble(), double(reading.period + 1));
        }
    }
    EXPECT_EQ(session.getPulseCount(), periods * 2);
    EXPECT_EQ(session.getLastReadings().size(), 4u);
}

TEST(EvaluationSession, PeriodsWithoutExtentAndWithdrawnOnesGiveNoReading)
{
    EvaluationSession session(settingsFor({QStringLiteral("qiec")}));
    RawPeriod reversed = makePeriod(0, 0, {1});
    std::swap(reversed.startTicks, reversed.endTicks);
    RawPeriod rateless = makePeriod(0, 1, {1});
    rateless.sampleRate = 0;
    for (const RawPeriod &period : {reversed, rateless, makePeriod(0, 2, {1}), makePeriod(0, 3, {1})})
        ASSERT_TRUE(session.addPeriod(period));
    ASSERT_TRUE(session.finish());
    session.withdrawFrom(3);
    const auto readings = session.takeReadings();
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings.front().period, 2u);
    EXPECT_EQ(session.getDroppedCount(), 2u);
}

TEST(EvaluationSession, AnInterruptionEndsTheWaiting)
{
    EvaluationSession session(settingsFor({QStringLiteral("displayed_period")}));
    RawPeriod large = makePeriod(0, 0, {});
    large.peaks.resize(EvaluationSession::MaximumBytes / 64 + 1);
    ASSERT_TRUE(session.addPeriod(large));
    // Full: whether the next one waits depends on the speed of the threads, that it ends does not.
    large.index = 1;
    session.addPeriod(large, [] { return true; });
    EXPECT_TRUE(session.finish());
}

} // namespace
