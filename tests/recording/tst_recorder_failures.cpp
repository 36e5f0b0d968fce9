#include "tests/recording/recording_tools.h"

#include <QCryptographicHash>

#include <csignal>
#include <sqlite3.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace RecordingTools;

namespace
{

/// Keeps the files that this process writes from growing beyond a size.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        ::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_previous);
        const rlimit limit{bytes, m_previous.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;
    ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &m_previous); }

private:
    rlimit m_previous{};
};

/// Another program that reads a file, and keeps its writer waiting meanwhile.
class Reading
{
public:
    explicit Reading(const QString &path)
    {
        sqlite3_open_v2(QFile::encodeName(path).constData(), &m_database, SQLITE_OPEN_READONLY, nullptr);
        sqlite3_busy_timeout(m_database, 60'000);
        isThere = sqlite3_exec(m_database, "BEGIN; SELECT count(*) FROM entry", nullptr, nullptr, nullptr) == SQLITE_OK;
    }
    Reading(const Reading &) = delete;
    Reading &operator=(const Reading &) = delete;
    ~Reading() { sqlite3_close(m_database); }
    bool isThere = false;

private:
    sqlite3 *m_database = nullptr;
};

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

QStringList warningsOf(const QStringList &lines)
{
    return lines.filter(QStringLiteral("failed")) + lines.filter(QStringLiteral("the recording ends"));
}

} // namespace

TEST_F(RecordingTest, RefusesAFileInTheStatedWords)
{
    makeRecorder();
    QFile existing(pathOf("there.pdr"));
    ASSERT_TRUE(existing.open(QIODevice::WriteOnly) && existing.write("mine") == 4);
    existing.close();
    QFile::link(pathOf("nowhere"), pathOf("link.pdr"));
    setAttribute(Attributes::Template, QStringLiteral("%USER_DEFINED%"));
    const QString storage = QStringLiteral("CommonNOX: StorageState::initializeStorage() failed to initialize the "
                                           "storage with ");
    const QString device = QStringLiteral("CommonNOX: DeviceRecordingState::initialize() failed to initialize the "
                                          "storage for filename=");
    struct Row
    {
        QString name;
        QString line;
    };
    const Row rows[] = {
        {pathOf("there.pdr"), QStringLiteral("filename=%1. This file exists already!").arg(pathOf("there.pdr"))},
        {pathOf("link.pdr"), QStringLiteral("filename=%1. This file exists already!").arg(pathOf("link.pdr"))},
        {QString(), QStringLiteral("empty file name")},
        {pathOf("no/folder.pdr"), QStringLiteral("filename=%1").arg(pathOf("no/folder.pdr"))},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name.toStdString());
        const LogCatcher log;
        const int before = refused.size();
        command({true, row.name, {}, {}});
        ASSERT_TRUE(runUntil([&] { return refused.size() > before; }));
        const QStringList lines = log.take();
        ASSERT_EQ(lines.size(), 2);
        EXPECT_TRUE(lines[0].startsWith(storage + row.line)) << lines[0].toStdString();
        EXPECT_EQ(lines[1], device + row.name);
        EXPECT_FALSE(refused.last().isEmpty());
        EXPECT_EQ(attribute(Attributes::Status), Attributes::Inactive);
        EXPECT_EQ(attribute(Attributes::Error).toString(), refused.last());
        EXPECT_FALSE(recorder->isRecording());
    }
    EXPECT_EQ(refused[2], QStringLiteral("a recording needs a file name")) << "not the reason of the start before";
    EXPECT_EQ(contentOf(pathOf("there.pdr")), QByteArray("mine"));
    EXPECT_FALSE(QFile::exists(pathOf("nowhere")));
    ASSERT_TRUE(start("new.pdr")) << "and it goes on";
    ASSERT_TRUE(stop());
}

TEST_F(RecordingTest, AStartWhileActiveLeavesTheRecordingAlone)
{
    makeRecorder();
    ASSERT_TRUE(start("a.pdr"));
    add(0, 10);
    command({true, pathOf("b.pdr"), {}, {}});
    setAttribute(Attributes::Control, QStringLiteral("no command"));
    add(10, 10);
    ASSERT_TRUE(runUntil([this] { return !refused.isEmpty(); }));
    add(20, 10);
    EXPECT_EQ(attribute(Attributes::Status), Attributes::Active);
    EXPECT_EQ(attribute(Attributes::FileName).toString(), pathOf("a.pdr"));
    ASSERT_TRUE(stop());
    EXPECT_FALSE(QFile::exists(pathOf("b.pdr")));
    EXPECT_EQ(RecordedFile(pathOf("a.pdr")).indices(), countUp(0, 30));
}

TEST_F(RecordingTest, AFailureOfTheFileEndsTheRecordingOnce)
{
    enum class Fault { Removed, Replaced, Full };
    struct Row
    {
        const char *name;
        Fault fault;
        const char *reason;
    };
    const Row rows[] = {{"removed.pdr", Fault::Removed, "the file is gone"},
                        {"replaced.pdr", Fault::Replaced, "the file is gone"},
                        {"full.pdr", Fault::Full, ""}};
    makeRecorder();
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const LogCatcher log;
        ASSERT_TRUE(start(row.name));
        add(0, 400);
        ASSERT_TRUE(waitForBlocks(row.name, 200));
        std::optional<FileSizeLimit> limit;
        if (row.fault == Fault::Full)
            limit.emplace(rlim_t(QFileInfo(pathOf(row.name)).size()) + 40'000);
        else
            QFile::rename(pathOf(row.name), pathOf("elsewhere.pdr"));
        if (row.fault == Fault::Replaced)
            QFile(pathOf(row.name)).open(QIODevice::WriteOnly);
        add(400, 400, 500);
        ASSERT_TRUE(waitForEnd());
        limit.reset();
        // The measurement goes on.
        add(800, 10);
        QCoreApplication::processEvents();
        EXPECT_TRUE(ended.last().error);
        EXPECT_EQ(ended.last().path, pathOf(row.name));
        EXPECT_TRUE(ended.last().reason.startsWith(QString::fromLatin1(row.reason)))
            << ended.last().reason.toStdString();
        EXPECT_EQ(attribute(Attributes::Status), Attributes::Inactive);
        EXPECT_EQ(attribute(Attributes::Error).toString(), ended.last().reason);
        EXPECT_EQ(warningsOf(log.take()).size(), 1);
        EXPECT_EQ(ended.size(), endsSeen);

        const RecordedFile file(pathOf(row.fault == Fault::Full ? row.name : "elsewhere.pdr"));
        ASSERT_TRUE(file.opened.reader) << file.opened.error.toStdString();
        EXPECT_FALSE(file.opened.recovery);
        EXPECT_GE(file.uuids<Space2D::PeriodBlockV1>().size(), 200);
        QFile::remove(pathOf("elsewhere.pdr"));
    }
    ASSERT_TRUE(start("next.pdr"));
    add(0, 3);
    ASSERT_TRUE(stop());
    EXPECT_EQ(RecordedFile(pathOf("next.pdr")).indices(), countUp(0, 3));
}

TEST_F(RecordingTest, WaitsForAReaderButNotWithoutEnd)
{
    makeRecorder();
    ASSERT_TRUE(start("a.pdr"));
    add(0, 300);
    {
        const Reading reading(pathOf("a.pdr"));
        ASSERT_TRUE(reading.isThere);
        add(300, 500);
        // What comes meanwhile is kept, in order.
        EXPECT_TRUE(waitUntil([this] { return !recorder->isFull(); }));
        EXPECT_EQ(RecordedFile(pathOf("a.pdr")).opened.reader->getState(), StorageReader::State::BeingWritten);
    }
    ASSERT_TRUE(stop());
    EXPECT_EQ(RecordedFile(pathOf("a.pdr")).indices(), countUp(0, 800));

    ASSERT_TRUE(start("b.pdr"));
    add(0, 300);
    ASSERT_TRUE(waitForBlocks("b.pdr", 200));
    {
        const Reading reading(pathOf("b.pdr"));
        ASSERT_TRUE(reading.isThere);
        const auto block = blockAt(300, 1, 100'000);
        for (quint64 i = 300; i < 600 && recorder->isRecording(); ++i) {
            pd->addPeriodBlock(0, i, block);
            ASSERT_TRUE(runUntil([this] { return !recorder->isFull(); }));
        }
        ASSERT_TRUE(waitForEnd());
        EXPECT_TRUE(ended.last().error);
        EXPECT_EQ(ended.last().reason, QStringLiteral("another program keeps the file locked"));
    }
    const RecordedFile file(pathOf("b.pdr"));
    ASSERT_TRUE(file.opened.reader) << file.opened.error.toStdString();
    EXPECT_GE(file.uuids<Space2D::PeriodBlockV1>().size(), 200);
}

TEST_F(RecordingTest, EndsInOrderWhenTooMuchIsQueued)
{
    makeRecorder();
    ASSERT_TRUE(start("a.pdr"));
    add(0, 10);
    const auto block = blockAt(10, 4, 100'000);
    for (quint64 i = 0; i < 12; ++i)
        pd->addPeriodBlock(0, 10 + 4 * i, block);
    ASSERT_TRUE(waitForEnd());
    EXPECT_TRUE(ended.last().error);
    EXPECT_EQ(ended.last().reason, QStringLiteral("the disk does not keep up with the measurement"));
    EXPECT_FALSE(recorder->isFull());
    const RecordedFile file(pathOf("a.pdr"));
    ASSERT_TRUE(file.isIntact());
    EXPECT_EQ(file.opened.reader->getState(), StorageReader::State::Closed);
    EXPECT_GE(file.indices().size(), 10u);
    EXPECT_EQ(file.indices(), countUp(0, file.indices().size()));
}
