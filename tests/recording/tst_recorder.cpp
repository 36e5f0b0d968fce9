#include "entries/catalogue/replay_header.h"
#include "entries/catalogue/results_values.h"
#include "entries/entry_names.h"
#include "tests/recording/recording_tools.h"

#include <QDateTime>

#include <algorithm>
#include <atomic>
#include <cmath>

using namespace RecordingTools;

namespace
{

const QString Device = QStringLiteral("device");
const QString ChannelZero = QStringLiteral("channel_0");

/// The time element that an entry of the file stands before, by the file-wide list; null when it is not in there.
CommonNOX::DataEntryConstPtr elementBefore(const RecordedFile &file, const QString &entryUuid)
{
    for (const auto &global : file.entries<PdGlobalNavigationElementV1>()) {
        if (global->get(Keys::EntryUuid).toString() == entryUuid)
            return file.load(global->get(Keys::ElementUuid).toString());
    }
    return nullptr;
}

} // namespace

TEST_F(RecordingTest, StoresWhatItReceivesInOrder)
{
    makeRecorder(2);
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    setChannelSetting(0, "qiec_tau1", 0.25);
    EXPECT_EQ(attribute(Attributes::Status), Attributes::Inactive);
    pd->addPeriodBlock(0, 0, blockAt(0)); // nothing is recorded yet
    ASSERT_TRUE(start("a.pdr"));
    EXPECT_EQ(attribute(Attributes::Status), Attributes::Active);
    EXPECT_EQ(attribute(Attributes::FileName).toString(), pathOf("a.pdr"));
    EXPECT_TRUE(recorder->isRecording());

    const auto scope = scopeOf({1, 2, 3, -4});
    pd->addVoltageScope(scope, 40);
    const auto first = blockAt(40, 3);
    pd->addPeriodBlock(0, 40, first);
    pd->addPeriodBlock(1, 40, blockAt(40, 100));
    setChannelSetting(0, "qiec_tau1", 0.75);
    recorder->annotate(0, QStringLiteral("mark"), 7);
    pd->addPeriodBlock(0, 43, blockAt(43));
    ASSERT_TRUE(stop());
    EXPECT_EQ(attribute(Attributes::Status), Attributes::Inactive);
    EXPECT_FALSE(ended.last().error);
    pd->addPeriodBlock(0, 44, blockAt(44)); // not any more

    const RecordedFile file(pathOf("a.pdr"));
    ASSERT_TRUE(file.isIntact()) << file.opened.error.toStdString();
    EXPECT_EQ(file.opened.reader->getState(), StorageReader::State::Closed);
    EXPECT_EQ(file.indices(0), (std::vector<quint64>{40, 41, 42, 43}));
    EXPECT_EQ(file.indices(1), countUp(40, 100));

    Storage::StoredRow row;
    file.opened.reader->read(1, row);
    EXPECT_EQ(file.opened.reader->getKind(row.kind)->category, cstrHeaderEntryName);
    const auto header = file.entries<PdReplayHeaderV2>().at(0);
    EXPECT_EQ(header->get(Keys::Description), QStringLiteral("a comment"));
    EXPECT_EQ(header->get(Keys::Device_SerialNumber), pd->getSerialNumber());
    EXPECT_EQ(header->get(Keys::PD_ChannelName).toList().size(), 2);
    EXPECT_EQ(header->get(Keys::File_Duration).toLongLong(), 2000);

    const auto blocks = file.uuids<Space2D::PeriodBlockV1>(cstrPeriodBlockCategory);
    ASSERT_EQ(blocks.size(), 3);
    EXPECT_EQ(CommonNOX::Detail::EntryToRawData(file.load(blocks[0]), {}),
              CommonNOX::Detail::EntryToRawData(first, {}));
    const auto scopes = file.entries<Space2D::VoltageScopeV1>(Device);
    ASSERT_EQ(scopes.size(), 1u);
    EXPECT_EQ(CommonNOX::Detail::EntryToRawData(scopes[0], {}), CommonNOX::Detail::EntryToRawData(scope, {}));

    const auto elements = file.entries<PdTimeNavigationElementV1>(QStringLiteral("channel_1"));
    for (const int i : {0, 49, 50, 99}) {
        EXPECT_EQ(elements[std::size_t(i)]->get(Keys::Index), i);
        EXPECT_EQ(elements[std::size_t(i)]->get(Keys::StartingSecond), i / 50);
        EXPECT_EQ(elements[std::size_t(i)]->get(Keys::PeriodOffset), i);
        EXPECT_EQ(elements[std::size_t(i)]->get(Keys::PeriodBlockUuid).toString(), blocks[2]);
    }

    const auto global = file.entries<PdGlobalNavigationElementV1>();
    EXPECT_EQ(global.at(0)->get(Keys::Type), int(PdGlobalNavigationType::RecordingStart));
    const qint64 began = global.at(0)->get(Keys::Name).toString().toLongLong();
    EXPECT_TRUE(began >= before && began <= QDateTime::currentMSecsSinceEpoch()) << began;

    // What was set before holds from the first period on, the change from the block that came behind it.
    const QStringList actions = file.uuids<PdReplayActionV1>();
    std::vector<std::pair<double, quint64>> taus;
    for (const QString &uuid : actions) {
        const auto action = file.load(uuid);
        if (action->get(Keys::Path).toString() == QStringLiteral("qiec_tau1")) {
            const auto element = elementBefore(file, uuid);
            taus.emplace_back(action->get(Keys::NewValue).toDouble(),
                              element ? element->get(Keys::GlobalIndex).toULongLong() : 0);
        }
    }
    EXPECT_EQ(taus, (std::vector<std::pair<double, quint64>>{{0.25, 40}, {0.75, 43}}));
    const auto marks = file.uuids<PdReplayAnnotationV1>();
    ASSERT_EQ(marks.size(), 2);
    EXPECT_EQ(file.load(marks[0])->get(Keys::Value), 7);
    EXPECT_EQ(elementBefore(file, marks[0])->get(Keys::GlobalIndex).toULongLong(), 43u);
    EXPECT_EQ(file.load(marks[1])->get(Keys::Name).toString(), EndAnnotation);
}

TEST_F(RecordingTest, ChangesAndStartsAreToldInTheLog)
{
    makeRecorder();
    ASSERT_TRUE(start("a.pdr"));
    const LogCatcher log;
    setChannelSetting(0, "invert", true);
    const QStringList lines = log.take();
    EXPECT_EQ(lines,
              QStringList(QStringLiteral("CommonNOX: PdRecorder() record changed attribute=invert for channel=0")));
    ASSERT_TRUE(stop());
}

TEST_F(RecordingTest, EachTimeElementHoldsTheReadingBeforeItsPeriod)
{
    makeRecorder();
    setChannelSetting(0, "init_qiec_value", 5.0);
    ASSERT_TRUE(start("a.pdr"));
    const auto qiec = store->createEntry(
        QStringLiteral("qiec"), CommonNOX::GetDataEntryNameForDeviceChannel(pd->getResultsName(), QStringLiteral("0")));
    const auto read = [&](quint64 index) {
        const auto value = std::make_shared<CommonNOX::Entries::Results::Space1D::SignalValueV1>();
        value->set(Keys::Value, 100.0 + double(index));
        qiec->setValue(index, QVariant::fromValue(value));
    };
    // The evaluation lags behind, skips period 12 and has not come to the last one when the recording ends.
    pd->addPeriodBlock(0, 10, blockAt(10, 3));
    for (const quint64 index : {10, 11})
        read(index);
    pd->addPeriodBlock(0, 13, blockAt(13, 2));
    read(13);
    ASSERT_TRUE(stop());
    const RecordedFile file(pathOf("a.pdr"));
    std::vector<double> values;
    for (const auto &element : file.entries<PdTimeNavigationElementV1>())
        values.push_back(element->get(Keys::Qiec).toDouble());
    EXPECT_EQ(values, (std::vector<double>{5, 110, 111, 111, 113}));
}

TEST_F(RecordingTest, GathersChargeOverVoltage)
{
    makeRecorder();
    ASSERT_TRUE(start("a.pdr"));
    pd->addVoltageScope(scopeOf({3000, -3000, 3000, -3000}, 0.001), 0);
    pd->addPeriodBlock(0, 0, blockAt(0));
    const QString name = CommonNOX::GetDataEntryNameForDeviceChannel(pd->getResultsName(), QStringLiteral("0"));
    const auto value = std::make_shared<CommonNOX::Entries::Results::Space1D::SignalValueV1>();
    value->set(Keys::Value, 42.0);
    const qint64 size = QFileInfo(pathOf("a.pdr")).size();
    store->createEntry(QStringLiteral("qiec"), name)->setValue(0, QVariant::fromValue(value));
    // An element waits for its timer, and is stored with the next batch.
    const auto elements = [&] { return RecordedFile(pathOf("a.pdr")).entries<PdReplayQtUtOverviewV1>(ChannelZero); };
    ASSERT_TRUE(runUntil([&] { return !elements().empty(); })) << size;
    ASSERT_TRUE(stop());
    ASSERT_EQ(elements().size(), 1u) << "one for each reading, however often the timer fires";
    EXPECT_EQ(elements()[0]->get(Keys::Qiec), 42.0);
    EXPECT_GT(elements()[0]->get(Keys::Voltage).toDouble(), 0.0);
    EXPECT_GT(elements()[0]->get(Keys::Timestamp).toLongLong(), 0);
}

TEST_F(RecordingTest, EndsAtItsLimitAndSaysWhy)
{
    struct Row
    {
        const char *file;
        RecordingLimit limit;
        const char *reason;
    };
    const Row rows[] = {
        {"size.pdr", {RecordingLimit::Type::FileSize, 300'000}, "the file has reached its limit of 300000 bytes"},
        {"time.pdr", {RecordingLimit::Type::Duration, 2}, "the recording has reached its limit of 2 s"},
    };
    makeRecorder();
    for (const Row &row : rows) {
        ASSERT_TRUE(start(row.file, row.limit));
        add(0, 101, 500);
        ASSERT_TRUE(waitForEnd());
        EXPECT_EQ(ended.last().reason, QString::fromLatin1(row.reason));
        EXPECT_FALSE(ended.last().error);
        EXPECT_EQ(attribute(Attributes::Status), Attributes::Inactive);
        EXPECT_EQ(attribute(Attributes::EndReason).toString(), ended.last().reason);
        EXPECT_EQ(RecordedFile(pathOf(row.file)).opened.reader->getState(), StorageReader::State::Closed);
    }
}

TEST_F(RecordingTest, GoesOnInNewFilesWithoutLosingAPeriod)
{
    constexpr int Count = 1000;
    makeRecorder();
    QFile(pathOf("a_3.pdr")).open(QIODevice::WriteOnly); // is left alone, the number goes on
    setChannelSetting(0, "qiec_tau1", 0.25);
    ASSERT_TRUE(start("a.pdr", {RecordingLimit::Type::FileSize, 1'000'000, true}));
    for (int i = 0; i < Count; ++i) {
        add(quint64(i), 1, 20);
        // What the device's thread is told of an end must not make it drop what it receives.
        if (i % 16 == 0)
            QCoreApplication::processEvents();
    }
    command({});
    ASSERT_TRUE(runUntil([this] { return !ended.isEmpty() && ended.last().reason == QStringLiteral("stopped"); }));
    ASSERT_GE(started.size(), 3);
    EXPECT_EQ(ended.size(), started.size());
    EXPECT_FALSE(started.contains(pathOf("a_3.pdr")));
    std::vector<quint64> indices;
    for (const QString &path : qAsConst(started)) {
        const RecordedFile file(path);
        ASSERT_TRUE(file.isIntact());
        const auto part = file.indices();
        indices.insert(indices.end(), part.begin(), part.end());
        EXPECT_EQ(file.entries<PdReplayHeaderV2>().size(), 1u);
        EXPECT_FALSE(file.entries<PdReplayActionV1>(ChannelZero).empty()) << "each file has the settings";
    }
    EXPECT_EQ(indices, countUp(0, Count));
}

TEST_F(RecordingTest, AStartRightBehindAnEndIsRecordedWhole)
{
    constexpr int Runs = 6;
    makeRecorder();
    for (int i = 0; i < Runs; ++i) {
        const QString path = folder.filePath(QString::number(i) + FileSuffix);
        // The end of the recording before is still on its way to this thread.
        command({true, path, {}, {}});
        add(0, 5);
        command({});
    }
    add(9, 1);
    ASSERT_TRUE(runUntil([this] { return ended.size() == Runs; }));
    for (int i = 0; i < Runs; ++i) {
        const QString path = folder.filePath(QString::number(i) + FileSuffix);
        EXPECT_EQ(RecordedFile(path).indices(), countUp(0, 5)) << i;
    }
    EXPECT_EQ(attribute(Attributes::Status), Attributes::Inactive);
    EXPECT_FALSE(recorder->isRecording());
}

TEST_F(RecordingTest, ADestroyedRecorderStoresAllItReceived)
{
    for (int run = 0; run < 5; ++run) {
        makeRecorder();
        started.clear();
        const QString path = folder.filePath(QString::number(run) + FileSuffix);
        ASSERT_TRUE(start(QString::number(run).append(FileSuffix).toLatin1().constData()));
        std::atomic<quint64> handedOver = 0;
        std::atomic<bool> isEnding = false;
        std::thread source([&] {
            for (quint64 i = 0; !isEnding; ++i) {
                pd->addPeriodBlock(0, i, blockAt(i));
                handedOver = i + 1;
            }
        });
        EXPECT_TRUE(waitUntil([&] { return handedOver > 300u; }));
        const quint64 least = handedOver;
        recorder.reset();
        isEnding = true;
        source.join();
        const RecordedFile file(path);
        ASSERT_TRUE(file.isIntact());
        EXPECT_EQ(file.opened.reader->getState(), StorageReader::State::Closed);
        const auto indices = file.indices();
        EXPECT_GE(indices.size(), least);
        EXPECT_EQ(indices, countUp(0, indices.size()));
    }
}
