#include "tests/platform/storage_tools.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace StorageTools;

namespace
{

constexpr int Flips = 10'000;
constexpr int Rows = 100;

/// Of a row with an id below 128 and a number of two bytes: length, id, header of seven bytes, kind, number, checksum.
constexpr int BytesBeforeData = 2 + 1 + 7 + 0 + 2 + 8;

void flip(int descriptor, qint64 byte, int bit)
{
    char value = 0;
    ASSERT_EQ(::pread(descriptor, &value, 1, byte), 1);
    value = char(value ^ (1 << bit));
    ASSERT_EQ(::pwrite(descriptor, &value, 1, byte), 1);
}

} // namespace

TEST_F(StorageTest, ReportsEverySingleBitThatChanged)
{
    // Two kinds behind the first, whose number takes no byte of its own.
    const auto writer = create(QStringLiteral("a.pdr"));
    writer->addKind(Steps);
    std::vector<StoredRow> rows;
    for (qint64 id = 1; id <= Rows; ++id) {
        rows.push_back(rowOf(id));
        rows.back().kind = 1;
    }
    ASSERT_EQ(writer->append(rows), StorageWriter::Outcome::Done);
    ASSERT_EQ(writer->close(), StorageWriter::Outcome::Done);
    const QString path = pathOf(QStringLiteral("a.pdr"));
    const QByteArray good = contentOf(path);
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(descriptor, 0);
    std::mt19937 random(4711);
    int silent = 0;
    for (int i = 0; i < Flips; ++i) {
        const auto &row = rows[random() % Rows];
        const int place = int(random() % (BytesBeforeData + 200));
        const int data = good.indexOf(row.data);
        const int bit = int(random() % 8);
        flip(descriptor, data - BytesBeforeData + place, bit);
        const auto reader = open(path);
        const auto check = reader ? CheckStorage(*reader) : StorageCheck();
        flip(descriptor, data - BytesBeforeData + place, bit);
        if (!reader || check.isIntact()) {
            ++silent;
            continue;
        }
        // Behind the length, the id and the header, a flip concerns its row alone.
        if (place >= 10) {
            ASSERT_EQ(check.damaged, 1) << "byte " << place << " of row " << row.id;
            ASSERT_EQ(check.rows, Rows);
            ASSERT_EQ(check.first[0].uuid, reader->getUuids().toUuid({0, row.id}));
            ASSERT_EQ(check.first[0].category, Blocks.category);
        }
    }
    ::close(descriptor);
    EXPECT_LE(silent, Flips / 1000);
    EXPECT_EQ(contentOf(path), good);
    EXPECT_TRUE(CheckStorage(*open(path)).isIntact());
}

TEST_F(StorageTest, ListsTheFirstDamagedOnesAndCountsTheRest)
{
    const QString path = make(QStringLiteral("a.pdr"), Rows);
    QByteArray bytes = contentOf(path);
    for (qint64 id = 1; id <= 50; ++id) {
        const int place = bytes.indexOf(rowOf(id).data);
        bytes[place] = char(bytes[place] ^ 1);
    }
    write(path, bytes);
    const auto reader = open(path);
    const StorageCheck check = CheckStorage(*reader);
    EXPECT_EQ(check.damaged, 50);
    EXPECT_EQ(check.rows, Rows);
    ASSERT_EQ(check.first.size(), StorageCheck::MostListed);
    EXPECT_EQ(check.first[1].uuid, reader->getUuids().toUuid({0, 2}));
    EXPECT_EQ(check.first[1].category, Blocks.category);
    EXPECT_FALSE(CheckStorage(*reader, [](double) { return false; }).isComplete);
}

TEST_F(StorageTest, AnInterruptedFileThatIsIntactSimplyOpens)
{
    const QString path = make(QStringLiteral("a.pdr"), Rows, false);
    const OpenedStorage opened = openAnyhow(path);
    ASSERT_TRUE(opened.reader) << opened.error.toStdString();
    EXPECT_TRUE(opened.wasInterrupted);
    EXPECT_FALSE(opened.recovery);
    EXPECT_EQ(opened.reader->getState(), StorageReader::State::Interrupted);
    EXPECT_EQ(opened.reader->getPath(), path);
}

TEST_F(StorageTest, ACutFileComesBackInACopy)
{
    const QString path = make(QStringLiteral("a.pdr"), 400, false);
    const QByteArray whole = contentOf(path);
    // As a killed commit leaves it: the header counts pages that are not there.
    write(path, whole.left(whole.size() - 3 * 16384 + 100));
    const QByteArray cut = contentOf(path);
    OpenedStorage opened = openAnyhow(path);
    ASSERT_TRUE(opened.reader) << opened.error.toStdString();
    ASSERT_TRUE(opened.recovery);
    EXPECT_EQ(contentOf(path), cut);
    EXPECT_EQ(opened.recovery->path, pathOf(QStringLiteral("a.recovered.pdr")));
    EXPECT_GT(opened.recovery->restored, 100);
    EXPECT_LT(opened.recovery->restored, 400);
    qint64 restored = 0;
    for (qint64 id = 1; id <= 400; ++id) {
        StoredRow row;
        if (opened.reader->read(id, row) == StorageReader::Outcome::Missing)
            continue;
        ++restored;
        ASSERT_EQ(row.data, rowOf(id).data) << id;
    }
    EXPECT_EQ(restored, opened.recovery->restored);
    // Every row whose bytes are whole in what is left is back.
    for (qint64 id = 1; id <= 400; ++id) {
        StoredRow row;
        if (cut.left(cut.size() - cut.size() % 16384).contains(rowOf(id).data)) {
            EXPECT_EQ(opened.reader->read(id, row), StorageReader::Outcome::Found) << id;
        }
    }

    opened = openAnyhow(path);
    EXPECT_EQ(opened.recovery->path, pathOf(QStringLiteral("a.recovered.pdr"))) << "used again";
    write(path, cut.left(cut.size() - 16384));
    opened = openAnyhow(path);
    EXPECT_EQ(opened.recovery->path, pathOf(QStringLiteral("a.recovered-2.pdr"))) << "another size";
    EXPECT_EQ(list(), (QStringList{QStringLiteral("a.pdr"), QStringLiteral("a.recovered-2.pdr"),
                                   QStringLiteral("a.recovered.pdr")}));
}

TEST_F(StorageTest, ACancelledRecoveryLeavesNothing)
{
    const QString path = make(QStringLiteral("a.pdr"), 3000);
    write(path, contentOf(path).chopped(16384));
    const QStringList before = list();
    int calls = 0;
    const RecoveryReport report =
        RecoverStorage(path, pathOf(QStringLiteral("b.pdr")), [&](double) { return ++calls < 3; });
    EXPECT_EQ(report.error, QStringLiteral("interrupted"));
    EXPECT_TRUE(report.path.isEmpty());
    EXPECT_EQ(list(), before);
    EXPECT_FALSE(RecoverStorage(path, path).error.isEmpty()) << "an existing file is no target";
}

TEST_F(StorageTest, ARecoveredCopyGoesElsewhereWhereTheFolderIsReadOnly)
{
    const QString inner = pathOf(QStringLiteral("inner"));
    ASSERT_TRUE(QDir().mkpath(inner));
    const QString path = make(QStringLiteral("inner/a.pdr"), 400);
    write(path, contentOf(path).chopped(16384));
    // The superuser writes everywhere, so that it has to be somebody else, in a process of its own.
    constexpr uid_t Nobody = 65534;
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown(QFile::encodeName(folder.path()).constData(), Nobody, Nobody), 0);
        ASSERT_EQ(::chown(QFile::encodeName(path).constData(), Nobody, Nobody), 0);
    }
    QFile::setPermissions(inner, QFile::ReadOwner | QFile::ExeOwner | QFile::ReadGroup | QFile::ExeGroup |
                                     QFile::ReadOther | QFile::ExeOther);
    const pid_t other = ::fork();
    if (other == 0) {
        if (::geteuid() == 0 && ::setresuid(Nobody, Nobody, Nobody) != 0)
            ::_exit(2);
        const OpenedStorage opened = openAnyhow(path);
        ::_exit(opened.recovery && opened.recovery->path == pathOf(QStringLiteral("cache/a.recovered.pdr")) ? 0 : 1);
    }
    int status = -1;
    EXPECT_EQ(::waitpid(other, &status, 0), other);
    QFile::setPermissions(inner, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(QDir(inner).entryList(QDir::Files), QStringList(QStringLiteral("a.pdr")));
}
