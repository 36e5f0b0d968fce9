#include "entries/catalogue/results_pd.h"
#include "evaluation/context_keys.h"
#include "host/evaluation/evaluation_session.h"
#include "host/evaluation/reading_format.h"
#include "host/pulses/period_entry.h"
#include "host/replay/replay_session.h"
#include "platform/configuration_tree.h"
#include "platform/visitors.h"
#include "recording/recorder/pd_recorder.h"
#include "recording/recorder/recording_command.h"
#include "tests/support/event_loop.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <random>

using namespace NoxHost;
using CommonNOX::Devices::PdDevice;
using CommonNOX::PD::Recording::PdRecorder;
namespace ContextKeys = CommonNOX::Evaluation::ContextKeys;
namespace Attributes = CommonNOX::PD::Recording::Attributes;

namespace
{

constexpr int Channels = 2;
constexpr quint64 Periods = 400;

RawPeriod makePeriod(int channel, quint64 index)
{
    std::mt19937 chance(unsigned(index) * Channels + unsigned(channel));
    RawPeriod period;
    period.channel = channel;
    period.index = index;
    period.startTicks = qint64(index) * 20'000;
    period.endTicks = period.startTicks + 20'000;
    period.sampleRate = 1'000'000;
    period.pdCalibration = 0.01;
    for (int i = 0; i < 20; ++i)
        period.peaks.append({int(chance() % 100'000) - 50'000, 0, period.startTicks + qint64(chance() % 20'000),
                             quint8(chance() % 2 ? 0x10 : 0)});
    return period;
}

EvaluationSettings settings()
{
    EvaluationSettings settings;
    settings.evaluators = QStringList{QStringLiteral("qiec"), QStringLiteral("qmax"), QStringLiteral("frequency")};
    return settings;
}

std::string takeLines(EvaluationSession &session)
{
    std::string lines;
    for (const Reading &reading : session.takeReadings())
        lines += toJsonLine(reading);
    return lines;
}

class ReplaySessionTest : public ::testing::Test
{
protected:
    ReplaySessionTest() { application(); }

    void set(const PdDevice &device, int channel, const QString &key, const QVariant &value)
    {
        Utilities::GuiContextVisitor(device.getChannelContext(channel)).setProperty(key, value);
    }

    /// The readings of a measurement whose settings change under way, which is recorded.
    std::string measure()
    {
        const auto tree = std::make_shared<Utilities::ConfigurationTree>();
        QList<CommonNOX::Devices::Channels::ChannelInformation> channels;
        for (int i = 0; i < Channels; ++i)
            channels.append(CommonNOX::Devices::Channels::ParseChannelInformationFromString(QString(), i));
        const auto device =
            std::make_shared<PdDevice>(Shared::GuiContexts::MakeReader({}, tree), QStringLiteral("devices/live"),
                                       QStringLiteral("live"), channels);
        EvaluationSession session(settings());
        session.follow(device);
        device->initializeRecording(folder.path());
        auto *recorder = dynamic_cast<PdRecorder *>(device->getRecorder());
        bool isEnded = false;
        QObject::connect(recorder, &PdRecorder::recordingEnded, [&] { isEnded = true; });
        const auto control = [&](const CommonNOX::PD::Recording::RecordingCommand &command) {
            tree->write(tree->joinPath({device->getPath(), Attributes::Node, Attributes::Control}),
                        FormatRecordingCommand(command));
        };
        control({true, path, {}, {}});
        std::string lines;
        for (quint64 index = 0; index < Periods; ++index) {
            if (index == 100)
                set(*device, 1, ContextKeys::Gating, 3);
            if (index == 150)
                set(*device, 0, ContextKeys::Invert, true);
            if (index == 200)
                set(*device, 0, ContextKeys::UsedEvaluators, QStringLiteral("qiec"));
            if (index == 250) {
                // Qiec is reset at once: everything before it has to be done.
                session.settle();
                set(*device, 1, ContextKeys::InitialQiec, 77.0);
            }
            if (index == 300)
                set(*device, 0, ContextKeys::UsedEvaluators, QStringLiteral("qiec;qmax"));
            for (int channel = 0; channel < Channels; ++channel)
                device->addPeriodBlock(channel, index, makePeriodBlock(makePeriod(channel, index)));
        }
        session.finish();
        lines += takeLines(session);
        control({});
        EXPECT_TRUE(runUntil([&] { return isEnded; }));
        return lines;
    }

    struct Replayed
    {
        std::string lines;
        QStringList told;
        QString ended;
        QString ending;
        bool isReplayDevice = false;
    };
    Replayed replay(const ReplayRequest &request, const EvaluationSettings &with = settings(),
                    std::optional<quint64> periods = {})
    {
        Replayed result;
        const auto tree = std::make_shared<Utilities::ConfigurationTree>();
        EvaluationSession session(with);
        ReplaySession source(tree);
        source.setOverriddenKeys(with.given);
        source.setFlowControl([&] { return session.isFull(); });
        source.setBarrier([&] { session.settle(); });
        if (periods)
            source.setPeriodLimit(*periods);
        QObject::connect(&source, &MeasuringSession::ready, [&] {
            session.follow(source.getDevice());
            result.isReplayDevice = Utilities::GuiContextVisitor(source.getDevice()->getContext())
                                        .getProperty(ContextKeys::IsReplayDevice)
                                        .toBool();
            source.start();
        });
        QObject::connect(&source, &MeasuringSession::told,
                         [&](const QString &sentence) { result.told.append(sentence); });
        QObject::connect(&source, &MeasuringSession::ended, [&](const QString &sentence) { result.ended = sentence; });
        source.open(makeReplayUrl(request));
        EXPECT_TRUE(runUntil([&] { return source.isLimitReached() || !result.ended.isEmpty(); }));
        result.ending = source.getEnding();
        source.close();
        session.finish();
        result.lines = takeLines(session);
        tree->clear();
        return result;
    }

    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a b#%20?.pdr"));
};

TEST_F(ReplaySessionTest, ReadingsAreEqualOverChangesOfSettings)
{
    const std::string live = measure();
    ASSERT_FALSE(live.empty());
    for (const double speed : {0.0, 50.0}) {
        const Replayed replayed = replay({path, speed, {}});
        EXPECT_EQ(replayed.lines, live);
        EXPECT_TRUE(replayed.isReplayDevice);
        EXPECT_EQ(replayed.ending, QStringLiteral("the end of the recording is reached."));
        EXPECT_TRUE(replayed.told.isEmpty() && replayed.ended.isEmpty());
    }
    EvaluationSettings other = settings();
    other.gating = CommonNOX::GatingStatus::Off;
    other.given = QStringList{ContextKeys::Gating};
    EXPECT_NE(replay({path, 0.0, {}}, other).lines, live);
}

TEST_F(ReplaySessionTest, APartIsToldAndALimitCuts)
{
    measure();
    ReplayRequest request{path, 0.0, {2u, 3u, {1}}};
    const Replayed part = replay(request);
    ASSERT_EQ(part.told.size(), 1);
    EXPECT_TRUE(part.told.first().contains(QStringLiteral("channel 1 at ")));
    EXPECT_EQ(part.ending, QStringLiteral("the end of the span is reached."));
    EXPECT_EQ(part.lines.find("\"period\":99,"), std::string::npos);
    EXPECT_NE(part.lines.find("\"period\":100,\"channel\":1"), std::string::npos);
    EXPECT_NE(part.lines.find("\"period\":149,"), std::string::npos);
    EXPECT_EQ(part.lines.find("\"period\":150,"), std::string::npos);
    const Replayed cut = replay({path, 0.0, {}}, settings(), 10);
    EXPECT_NE(cut.lines.find("\"period\":9,"), std::string::npos);
    EXPECT_EQ(cut.lines.find("\"period\":10,"), std::string::npos);
}

TEST_F(ReplaySessionTest, WhatCannotBePlayedIsOneSentence)
{
    measure();
    const ReplayRequest requests[] = {{folder.filePath(QStringLiteral("missing.pdr")), 0.0, {}},
                                      {folder.path(), 0.0, {}},
                                      {path, 0.0, {900u, std::nullopt, {}}},
                                      {path, 0.0, {std::nullopt, std::nullopt, {5}}}};
    for (const ReplayRequest &request : requests) {
        const Replayed replayed = replay(request);
        EXPECT_TRUE(replayed.ended.endsWith(QLatin1Char('.'))) << replayed.ended.toStdString();
        EXPECT_TRUE(replayed.lines.empty());
    }
}

} // namespace
