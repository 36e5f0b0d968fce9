#include "evaluation/context_keys.h"
#include "recording/replay/pd_replay_importer.h"
#include "recording/replay/replay_walk.h"
#include "tests/recording/recording_tools.h"

#include <limits>
#include <sqlite3.h>
#include <sys/stat.h>

using namespace CommonNOX::Importer;
using namespace RecordingTools;
namespace ContextKeys = CommonNOX::Evaluation::ContextKeys;

namespace
{

constexpr int Periods = 2600; // three runs of time elements
constexpr int PeriodsOfBlock = 7;
const QString NoHeader =
    QStringLiteral("CommonNOX: PdReplayFileLoader::extractHeaderInformation() retrieved header entry is nullptr");

class ReplayTest : public RecordingTest
{
protected:
    /// Two channels; of the second every other block, a scope every 500 periods, a setting at period 1400.
    QString recordTwoChannels(const char *name = "replay.pdr")
    {
        makeRecorder(2);
        setChannelSetting(0, "init_qiec_value", 12.5);
        EXPECT_TRUE(start(name));
        for (int first = 0; first < Periods; first += PeriodsOfBlock) {
            if (first % 500 < PeriodsOfBlock)
                pd->addVoltageScope(scopeOf({first, -first}), quint64(first));
            if (first == 1400)
                setChannelSetting(1, "gating", 3);
            const int count = std::min(PeriodsOfBlock, Periods - first);
            pd->addPeriodBlock(0, quint64(first), blockAt(quint64(first), count));
            if (first / PeriodsOfBlock % 2 == 0)
                pd->addPeriodBlock(1, quint64(first), blockAt(quint64(first), count));
        }
        EXPECT_TRUE(stop());
        return pathOf(name);
    }

    void open(const QString &path)
    {
        loader = std::make_shared<PdReplayFileLoader>();
        EXPECT_TRUE(loader->setFileInformation(QFileInfo(path)));
        importer = std::make_unique<PdReplayImporter>(loader);
        EXPECT_TRUE(importer->parseReplayFile()) << loader->getError().toStdString();
        for (const int channel : loader->getChannels())
            importer->setReplaySpeedFactor(channel, 0.0);
    }

    /// Indices of the periods that come, from their start times.
    std::vector<quint64> take(int channel, int most = Periods)
    {
        std::vector<quint64> indices;
        ImporterInterface::PeriodPtr period;
        while (int(indices.size()) < most && importer->extractNextPeriod(channel, period) && period)
            indices.push_back(quint64(period->get(Keys::StartTime).toLongLong()) / 2000);
        return indices;
    }

    static void change(const QString &path, const char *statement)
    {
        sqlite3 *file = nullptr;
        ASSERT_EQ(sqlite3_open(path.toUtf8().constData(), &file), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(file, statement, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(file);
        sqlite3_close(file);
    }

    std::shared_ptr<PdReplayFileLoader> loader;
    std::unique_ptr<PdReplayImporter> importer;
};

TEST_F(ReplayTest, EachChannelPlaysFromAnyPlace)
{
    const QString path = recordTwoChannels();
    open(path);
    EXPECT_EQ(loader->getNumberOfChannels(), 2);
    EXPECT_EQ(take(0), countUp(0, Periods));
    // At the end it stays.
    EXPECT_TRUE(take(0).empty());
    std::vector<quint64> second;
    for (quint64 index : countUp(0, Periods)) {
        if (index / PeriodsOfBlock % 2 == 0)
            second.push_back(index);
    }
    EXPECT_EQ(take(1), second);

    std::vector<std::pair<int, double>> told;
    QObject::connect(importer.get(), &PdReplayImporter::initialQiecValueChanged,
                     [&](const int &channel, const double &value) { told.emplace_back(channel, value); });
    for (const auto &[lower, upper] :
         {std::pair(0u, 3u), {1020u, 1030u}, {2047u, 2048u}, {2599u, 2599u}, {2590u, 999'999u}}) {
        ASSERT_TRUE(importer->setReplaySpan(0, {lower, upper}));
        Shared::Interval<unsigned int> span;
        ASSERT_TRUE(importer->getReplaySpan(0, span));
        EXPECT_EQ(span.getUpper(), std::min(upper, unsigned(Periods - 1)));
        EXPECT_EQ(take(0), countUp(lower, span.getUpper() - lower + 1));
        unsigned int position = 0;
        EXPECT_TRUE(importer->getCurrentPosition(0, position));
        EXPECT_EQ(position, span.getUpper() + 1);
    }
    EXPECT_EQ(told.size(), 5u);
    EXPECT_EQ(told.front(), std::pair(0, 12.5));
    for (const auto &span : {Shared::Interval(9u, 3u), Shared::Interval(2600u, 4000u)})
        EXPECT_FALSE(importer->setReplaySpan(0, span));
}

TEST_F(ReplayTest, SecondsAndUuidsLeadToElements)
{
    open(recordTwoChannels());
    const auto navigation = loader->getChannelTimeNavigation(0);
    for (const quint32 second : {0u, 1u, 20u, 41u, 51u, 52u, 5000u}) {
        const quint64 element = navigation->findSecond(second);
        EXPECT_EQ(element, std::min<quint64>(second * 50u, Periods)) << second;
        EXPECT_EQ(navigation->findPeriod(element), element);
    }
    for (const quint64 number : {0u, 1023u, 1024u, 2599u}) {
        const auto element = loader->findPeriod(0, navigation->toUuid(number));
        ASSERT_TRUE(element);
        EXPECT_EQ(element->globalIndex, number);
        const auto block =
            loader->getPeriodBlockByUuid(0, loader->getReader()->getUuids().toUuid({0, qint64(element->block)}));
        ASSERT_TRUE(block);
        EXPECT_EQ(PeriodOf(*block, element->periodOffset)->get(Keys::StartTime).toLongLong(), qint64(number) * 2000);
        // Of another channel it is unknown.
        EXPECT_FALSE(loader->findPeriod(1, navigation->toUuid(number)));
        EXPECT_FALSE(
            loader->getPeriodBlockByUuid(1, loader->getReader()->getUuids().toUuid({0, qint64(element->block)})));
    }
    EXPECT_FALSE(loader->findPeriod(0, navigation->toUuid(2600)));
}

TEST_F(ReplayTest, VoltageScopesComeWithTheirPeriods)
{
    open(recordTwoChannels());
    ImporterInterface::VoltageScopePtr scope;
    QString uuid;
    ASSERT_TRUE(importer->setReplaySpan(0, {1100, 2599}));
    ASSERT_TRUE(importer->getCurrentVoltageScopeUuid(0, uuid));
    const auto inForce = loader->getVoltageScopeByUuid(0, uuid);
    ASSERT_TRUE(inForce);
    ASSERT_TRUE(importer->extractNextVoltageScope(0, scope));
    ASSERT_TRUE(scope);
    EXPECT_EQ(scope->get(Keys::Samples).value<QVector<qint32>>(), inForce->get(Keys::Samples).value<QVector<qint32>>());
    EXPECT_EQ(scope->get(Keys::Samples).value<QVector<qint32>>().front(), 1001);
    // The next one has not been reached.
    EXPECT_TRUE(importer->extractNextVoltageScope(0, scope) && !scope);
    take(0, 500);
    EXPECT_TRUE(importer->extractNextVoltageScope(0, scope) && scope);
}

TEST_F(ReplayTest, TheSpeedFactorPacesAndIsTakenAsItIs)
{
    open(recordTwoChannels());
    LogCatcher log;
    for (const double factor : {2.0, 0.0, -1.0, std::numeric_limits<double>::infinity()}) {
        double kept = 7.0;
        EXPECT_TRUE(importer->setReplaySpeedFactor(1, factor));
        EXPECT_TRUE(importer->getReplaySpeedFactor(1, kept) && kept == factor);
    }
    EXPECT_EQ(LogCatcher::take().front().toStdString(),
              "CommonNOX: dReplayImporter::setReplaySpeedFactor() channelIndex=1 speedFactor=2");
    for (const int channel : {-1, 2, 1000}) {
        double factor = 0.0;
        unsigned int position = 0;
        QString uuid;
        Shared::Interval<unsigned int> span;
        ImporterInterface::PeriodPtr period;
        ImporterInterface::VoltageScopePtr scope;
        EXPECT_FALSE(importer->setReplaySpeedFactor(channel, 1.0) || importer->getReplaySpeedFactor(channel, factor) ||
                     importer->getCurrentPosition(channel, position) || importer->getReplaySpan(channel, span) ||
                     importer->setReplaySpan(channel, {0, 1}) || importer->extractNextPeriod(channel, period) ||
                     importer->extractNextVoltageScope(channel, scope) ||
                     importer->getCurrentVoltageScopeUuid(channel, uuid));
    }
    // Slower than anybody waits: the first period is due, the second is not, and it is not lost either.
    importer->setReplaySpeedFactor(0, 1e-9);
    ASSERT_TRUE(importer->setReplaySpan(0, {10, 20}));
    ImporterInterface::PeriodPtr period;
    EXPECT_TRUE(importer->extractNextPeriod(0, period) && period);
    EXPECT_TRUE(importer->extractNextPeriod(0, period) && !period);
    importer->setReplaySpeedFactor(0, 0.0);
    EXPECT_EQ(take(0), countUp(11, 10));
}

TEST_F(ReplayTest, DamagedTimeLinesAreMadeAgain)
{
    const QString good = recordTwoChannels();
    const char *const runsOfFirst =
        "kind = (SELECT id FROM kind WHERE category = 'pd_time_navigation_element' AND classification = 'channel_0')";
    open(good);
    std::vector<TimeRecord> elements;
    for (int i = 0; i < Periods; ++i)
        elements.push_back(*loader->getChannelTimeNavigation(0)->find(quint64(i)));
    const char *const damages[] = {
        "UPDATE entry SET data = zeroblob(length(data)) WHERE number = 0 AND %1",
        "UPDATE entry SET data = zeroblob(length(data)) WHERE number = 1024 AND %1",
        "UPDATE entry SET checksum = 1 WHERE number = 2048 AND %1",
        "DELETE FROM entry WHERE number = 1024 AND %1",
        "DELETE FROM entry WHERE number >= 1024 AND %1",
        "DELETE FROM entry WHERE %1",
        "UPDATE entry SET number = 5000000 WHERE number = 1024 AND %1",
    };
    for (const auto &damage : damages) {
        const QString path = pathOf("damaged.pdr");
        QFile::remove(path);
        ASSERT_TRUE(QFile::copy(good, path));
        change(path, QString::fromLatin1(damage).arg(QLatin1String(runsOfFirst)).toUtf8().constData());
        open(path);
        const auto navigation = loader->getChannelTimeNavigation(0);
        for (quint64 i = 0; i < quint64(Periods); ++i) {
            const auto element = navigation->find(i);
            ASSERT_TRUE(element) << damage << " at " << i;
            EXPECT_TRUE(element->globalIndex == elements[i].globalIndex && element->block == elements[i].block &&
                        element->periodOffset == elements[i].periodOffset &&
                        element->startingSecond == elements[i].startingSecond)
                << damage << " at " << i;
        }
        EXPECT_EQ(navigation->getCount(), quint64(Periods)) << damage;
        EXPECT_EQ(take(0), countUp(0, Periods)) << damage;
    }
}

TEST_F(ReplayTest, WhatIsLostLeavesAGap)
{
    const QString path = recordTwoChannels();
    change(path, "UPDATE entry SET checksum = 1 WHERE number = 1470 AND kind IN "
                 "(SELECT id FROM kind WHERE category = 'pd_replay_period_blocks' AND classification = 'channel_0')");
    open(path);
    const std::vector<quint64> taken = take(0);
    EXPECT_EQ(taken.size(), std::size_t(Periods - PeriodsOfBlock));
    EXPECT_EQ(std::count_if(taken.begin(), taken.end(), [](quint64 index) { return index >= 1470 && index < 1477; }),
              0);
}

TEST_F(ReplayTest, AWalkKeepsTheOrderOfThings)
{
    open(recordTwoChannels());
    const struct
    {
        ReplaySelection selection;
        quint64 first, end; ///< periods of channel 0
        bool hasSecond;
    } rows[] = {
        {{}, 0, Periods, true},
        {{10u, 11u, {}}, 500, 550, true},
        {{30u, std::nullopt, {0}}, 1500, Periods, false},
        {{std::nullopt, 3u, {0, 1}}, 0, 150, true},
        {{100u, std::nullopt, {}}, 0, 0, false},
    };
    for (const auto &row : rows) {
        ReplayWalk walk(*loader, row.selection);
        std::vector<quint64> periods;
        std::set<int> channels;
        int gating = 0;
        bool isGatingInTime = true;
        qint64 lastRow = 0;
        quint64 scope = 0;
        RecordedItem item;
        while (walk.next(item)) {
            EXPECT_GT(item.row, lastRow);
            lastRow = item.row;
            const auto text = [&](const auto &key) { return item.entry->get(key).toString(); };
            if (item.kind == RecordedItem::Kind::Action && text(Keys::Path) == ContextKeys::Gating)
                gating = item.entry->get(Keys::NewValue).toInt();
            if (item.kind == RecordedItem::Kind::Scope)
                scope = item.index;
            if (item.kind != RecordedItem::Kind::Block)
                continue;
            channels.insert(item.channel);
            const auto block = std::dynamic_pointer_cast<const Space2D::PeriodBlockV1>(item.entry);
            for (quint32 i = 0; i < CountPeriods(*block); ++i) {
                if (item.channel == 0)
                    periods.push_back(item.index + i);
                if (item.channel == 1)
                    isGatingInTime = isGatingInTime && gating == (item.index + i >= 1400 ? 3 : 0);
                EXPECT_LE(item.index + i - scope, 505u);
            }
        }
        EXPECT_EQ(periods, countUp(row.first, row.end - row.first));
        EXPECT_EQ(channels.count(1) > 0, row.hasSecond);
        EXPECT_TRUE(isGatingInTime);
        EXPECT_EQ(walk.getLosses().damaged + walk.getLosses().missing, 0u);
        EXPECT_DOUBLE_EQ(walk.getDone(), 1.0);
    }
}

TEST_F(ReplayTest, EntriesAreListedByWhatTheyBelongTo)
{
    open(recordTwoChannels());
    int actions = 0;
    for (const auto &entry : loader->getEntryMonitorsByClassificationAndChannel(QStringLiteral("channel_1"), 1)) {
        ASSERT_TRUE(entry->load());
        EXPECT_TRUE(entry->isChannelSpecific() && !entry->isDeviceSpecific() && entry->getChannelIndex() == 1);
        const auto action = loader->getReplayActionByUuid(1, entry->getUuid());
        ASSERT_TRUE(action);
        EXPECT_FALSE(loader->getReplayActionByUuid(0, entry->getUuid()));
        actions += action->get(Keys::Path).toString() == ContextKeys::Gating ? 1 : 0;
    }
    EXPECT_EQ(actions, 1);
    const auto marks = loader->getEntryMonitorsByClassification(QStringLiteral("device"));
    ASSERT_EQ(marks.size(), 1);
    EXPECT_TRUE(marks.first()->load() && marks.first()->isDeviceSpecific());
    EXPECT_TRUE(loader->getReplayAnnotationByUuid(DeviceItself, marks.first()->getUuid()));
    EXPECT_TRUE(loader->getEntryMonitorsByClassificationAndChannel(QStringLiteral("channel_1"), 0).isEmpty());
    PdReplayEntryLoader wrong(MakeStorageIdentifier(pathOf("replay.pdr")), marks.first()->getUuid(),
                              QStringLiteral("device"), PdReplayEntryLoader::Type::Action);
    EXPECT_FALSE(wrong.load() || wrong.isValid());
}

TEST_F(ReplayTest, ALostHeaderCostsNothingElse)
{
    const QString path = recordTwoChannels();
    change(path, "UPDATE entry SET checksum = 1 WHERE id = 1");
    LogCatcher log;
    open(path);
    EXPECT_EQ(LogCatcher::take().count(NoHeader), 1);
    EXPECT_EQ(loader->getRemark(), QStringLiteral("the header of the recording cannot be read"));
    ASSERT_NE(loader->getHeader(), nullptr);
    EXPECT_EQ(take(0), countUp(0, Periods));
}

TEST_F(ReplayTest, MarksComeBackFromTheOrderOfTheRowsWhereTheirListIsDamaged)
{
    const QString path = recordTwoChannels();
    open(path);
    std::vector<std::vector<std::pair<quint64, QString>>> places;
    for (const bool isDamaged : {false, true}) {
        if (isDamaged) {
            change(path, "UPDATE entry SET checksum = 1 WHERE kind = (SELECT id FROM kind WHERE type LIKE "
                         "'pd_global_navigation%')");
            open(path);
        }
        for (const int channel : loader->getChannels()) {
            auto &found = places.emplace_back();
            for (const auto &mark : loader->getMarks(channel)) {
                if (mark.type == PdGlobalNavigationType::Action || mark.type == PdGlobalNavigationType::VoltageScope)
                    found.emplace_back(mark.element, mark.uuid);
            }
        }
    }
    ASSERT_EQ(places.size(), 4u);
    EXPECT_FALSE(places[0].empty() || places[1].empty());
    EXPECT_EQ(places[2], places[0]);
    EXPECT_EQ(places[3], places[1]);
}

TEST_F(ReplayTest, WhatIsNoRecordingIsRefusedWithOneSentence)
{
    const QString noHeader = recordTwoChannels();
    change(noHeader, "DELETE FROM entry; UPDATE kind SET type = 'nothing'");
    const QString pipe = pathOf("pipe");
    ASSERT_EQ(::mkfifo(pipe.toUtf8().constData(), 0600), 0);
    EXPECT_EQ(Storage::OpenStorage(pipe, folder.path()).error, QStringLiteral("\"%1\" is no file").arg(pipe));
    EXPECT_EQ(Storage::RecoverStorage(pipe, pathOf("new")).error, QStringLiteral("\"%1\" is no file").arg(pipe));
    LogCatcher log;
    for (const QString &path : {noHeader, pathOf("missing.pdr"), folder.path()}) {
        LogCatcher::take();
        PdReplayFileLoader other;
        other.setFileInformation(QFileInfo(path));
        EXPECT_FALSE(other.loadReplayFile());
        EXPECT_FALSE(other.getError().isEmpty());
        EXPECT_EQ(other.getLoadStatus(), ReplayFileStatus::Failed);
        EXPECT_EQ(LogCatcher::take().count(NoHeader), path == noHeader ? 1 : 0);
        EXPECT_FALSE(other.buildReplayFileIndex());
    }
    PdReplayFileLoader cancelled;
    cancelled.setFileInformation(QFileInfo(recordTwoChannels("other.pdr")));
    cancelled.cancel();
    EXPECT_FALSE(cancelled.loadReplayFile() && cancelled.buildReplayFileIndex());
    EXPECT_EQ(cancelled.getError(), QStringLiteral("interrupted"));
}

} // namespace
