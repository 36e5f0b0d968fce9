#include "platform/storage/element_loader.h"
#include "platform/storage/file_lock.h"
#include "platform/storage/storage_options.h"
#include "platform/storage/storages.h"
#include "tests/platform/storage_tools.h"

#include <QtEndian>

#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace StorageTools;
using Outcome = StorageWriter::Outcome;
using Found = StorageReader::Outcome;

namespace
{

std::vector<qint64> idsOf(const std::vector<RowPlace> &places)
{
    std::vector<qint64> ids;
    for (const RowPlace &place : places)
        ids.push_back(place.id);
    return ids;
}

} // namespace

TEST_F(StorageTest, GivesBackWhatWasWritten)
{
    constexpr qint64 Count = 500;
    const QString path = make(QStringLiteral("a.pdr"), Count);
    EXPECT_EQ(list(), QStringList(QStringLiteral("a.pdr")));
    const QByteArray before = contentOf(path);
    EXPECT_EQ(qFromBigEndian<qint32>(before.constData() + 68), ApplicationId);
    EXPECT_EQ(qFromBigEndian<qint16>(before.constData() + 16), 16384);
    {
        const auto reader = open(path);
        ASSERT_TRUE(reader) << error.toStdString();
        EXPECT_EQ(reader->getState(), StorageReader::State::Closed);
        EXPECT_EQ(reader->getKinds(), (std::vector<EntryKind>{Blocks, Marks}));
        EXPECT_EQ(reader->findKinds(Marks.type, Marks.category), std::vector<int>{2});
        EXPECT_TRUE(reader->findKinds(Marks.type, Blocks.category).empty());
        EXPECT_EQ(reader->getLastId(), Count);
        for (qint64 id = 1; id <= Count; ++id) {
            StoredRow row;
            ASSERT_EQ(reader->read(id, row), Found::Found) << id;
            const StoredRow expected = rowOf(id);
            ASSERT_TRUE(row.id == id && row.kind == expected.kind && row.number == expected.number &&
                        row.data == expected.data)
                << id;
        }
        StoredRow row;
        for (const qint64 id : {qint64(0), qint64(-1), Count + 1, std::numeric_limits<qint64>::max()})
            EXPECT_EQ(reader->read(id, row), Found::Missing) << id;
        EXPECT_EQ(reader->countRows(1), Count / 2);
        EXPECT_EQ(reader->findRowAtOrBefore(1, 1005).id, 4);
        EXPECT_EQ(reader->findRowAtOrBefore(1, 1001).id, 0);
        EXPECT_EQ(idsOf(reader->listRows(1, {1004, 4}, 2)), (std::vector<qint64>{6, 8}));
        EXPECT_TRUE(CheckStorage(*reader).isIntact());
    }
    EXPECT_EQ(contentOf(path), before);
    EXPECT_EQ(list(), QStringList(QStringLiteral("a.pdr")));
}

TEST_F(StorageTest, WalksElementsInOrderOfInsertion)
{
    RegisterPackedElements(Steps.type, 8, [](const StorageReader &, int, qint64 number, const char *record) {
        return std::make_shared<QVariant>(QList<QVariant>{number, qFromLittleEndian<qint64>(record)});
    });
    const auto writer = create(QStringLiteral("a.pdr"));
    const int steps = writer->addKind(Steps);
    EXPECT_EQ(writer->addKind(Steps), steps);
    const auto run = [](qint64 first, int count) {
        QByteArray bytes(count * 8, '\0');
        for (int i = 0; i < count; ++i)
            qToLittleEndian<qint64>(first + i, bytes.data() + 8 * i);
        return bytes;
    };
    // Numbers that fall, runs that grow, entries in between.
    ASSERT_EQ(writer->append({{1, 1, 90, "x"}, {2, steps, 0, run(100, 3)}, {3, 1, 10, "y"}}), Outcome::Done);
    ASSERT_EQ(writer->append({{4, 1, 50, "z"}, {5, steps, 5, run(105, 2)}}, {{2, steps, 0, run(100, 5)}}),
              Outcome::Done);
    ASSERT_EQ(writer->close(), Outcome::Done);
    const auto reader = open(pathOf(QStringLiteral("a.pdr")));
    ASSERT_TRUE(reader);
    EXPECT_EQ(idsOf(reader->listRows(1)), (std::vector<qint64>{3, 4, 1})) << "rows come by number";
    QStringList expected;
    for (const qint64 id : {1, 3, 4})
        expected.append(reader->getUuids().toUuid({0, id}));
    EXPECT_EQ(ListElements(*reader, Blocks.type, Blocks.category), expected);
    const QStringList uuids = ListElements(*reader, Steps.type);
    ASSERT_EQ(uuids.size(), 7);
    for (int i = 0; i < 7; ++i) {
        const LoadedElement element = LoadElement(*reader, uuids[i]);
        ASSERT_EQ(element.outcome, Found::Found) << i;
        EXPECT_EQ(element.value->toList(), (QVariantList{i, 100 + i}));
        EXPECT_EQ(element.kind, Steps);
    }
    for (const ElementPlace &place :
         {ElementPlace{steps, 7}, ElementPlace{steps, -1}, ElementPlace{1, 0}, ElementPlace{9, 0}, ElementPlace{0, 6}})
        EXPECT_EQ(LoadElement(*reader, reader->getUuids().toUuid(place)).outcome, Found::Missing) << place.number;
}

TEST(ElementUuids, LeadThereAndBack)
{
    const ElementUuids uuids(0x123456789ABCDEFull);
    const ElementUuids others(0x123456789ABCDEEull);
    QStringList seen;
    for (const ElementPlace &place : {ElementPlace{0, 1}, ElementPlace{0, 2}, ElementPlace{1, 1},
                                      ElementPlace{16383, 0}, ElementPlace{3, (qint64(1) << 40) + 5}}) {
        const QString uuid = uuids.toUuid(place);
        EXPECT_EQ(uuids.toPlace(uuid), place) << uuid.toStdString();
        EXPECT_EQ(others.toPlace(uuid), std::nullopt);
        EXPECT_EQ(QUuid(uuid).toString(), uuid) << "written as every other uuid";
        EXPECT_FALSE(seen.contains(uuid));
        seen.append(uuid);
    }
    for (const char *text : {"", "{}", "{00000000-0000-0000-0000-000000000000}", "no uuid"})
        EXPECT_EQ(uuids.toPlace(QString::fromLatin1(text)), std::nullopt) << text;
    EXPECT_NE(ElementUuids::Create().getSeed(), ElementUuids::Create().getSeed());
}

TEST(StorageOptions, KnowAFewPragmasAndNothingElse)
{
    struct Row
    {
        const char *url;
        const char *pragmas; ///< null when it is refused
    };
    const Row rows[] = {
        {"file:///a/b.pdr", ""},
        {"file:///a/b.pdr?pragma_synchronous=OFF&pragma_journal_mode=MEMORY",
         "PRAGMA synchronous=OFF;PRAGMA journal_mode=MEMORY;"},
        {"file:///a/b.pdr?pragma_journal_mode=wal&pragma_cache_size=-2000",
         "PRAGMA journal_mode=wal;PRAGMA cache_size=-2000;"},
        {"file:///a/b.pdr?pragma_synchronous=OFF%3B%20DROP%20TABLE%20entry", nullptr},
        {"file:///a/b.pdr?pragma_cache_size=1%3BATTACH", nullptr},
        {"file:///a/b.pdr?pragma_writable_schema=1", nullptr},
        {"file:///a/b.pdr?synchronous=OFF", nullptr},
        {"file:///a/b.pdr?mode=memory", nullptr},
        {"file:", nullptr},
        {"http://host/a.pdr", nullptr},
        {"", nullptr},
    };
    for (const Row &row : rows) {
        StorageOptions options;
        QString error;
        EXPECT_EQ(ReadStorageUrl(QUrl(QString::fromLatin1(row.url)), options, error), row.pragmas != nullptr)
            << row.url;
        EXPECT_EQ(error.isEmpty(), row.pragmas != nullptr) << row.url;
        if (row.pragmas) {
            EXPECT_EQ(options.pragmas, QByteArray(row.pragmas));
        }
    }
}

TEST_F(StorageTest, MakesAFileOrSaysWhyNot)
{
    write(pathOf(QStringLiteral("there.pdr")), "mine");
    for (const char *name : {"there.pdr", "no/folder.pdr"}) {
        EXPECT_FALSE(create(QString::fromLatin1(name))) << name;
        EXPECT_FALSE(error.isEmpty()) << name;
    }
    EXPECT_EQ(contentOf(pathOf(QStringLiteral("there.pdr"))), QByteArray("mine"));
    EXPECT_EQ(list(), QStringList(QStringLiteral("there.pdr")));
    for (const char *mode : {"MEMORY", "PERSIST", "TRUNCATE", "DELETE", "WAL", "OFF"}) {
        const QString name = QString::fromLatin1(mode) + QStringLiteral(".pdr");
        const auto writer = create(name, QStringLiteral("pragma_journal_mode=%1").arg(QString::fromLatin1(mode)));
        ASSERT_TRUE(writer) << mode << error.toStdString();
        ASSERT_EQ(writer->append({rowOf(1)}), Outcome::Done) << mode;
        ASSERT_EQ(writer->close(), Outcome::Done) << mode;
        const OpenedStorage opened = openAnyhow(pathOf(name));
        ASSERT_TRUE(opened.reader) << mode << opened.error.toStdString();
        EXPECT_FALSE(opened.recovery) << mode;
        EXPECT_TRUE(CheckStorage(*opened.reader).isIntact()) << mode;
    }
}

TEST_F(StorageTest, AnotherProgramMayReadWhatIsBeingWritten)
{
    const QString path = pathOf(QStringLiteral("a.pdr"));
    auto writer = create(QStringLiteral("a.pdr"));
    ASSERT_EQ(writer->append({rowOf(1), rowOf(2)}), Outcome::Done);
    EXPECT_TRUE(FileLock::IsHeld(path));
    // In its own process, as the lock and SQLite's own are those of processes.
    const pid_t other = ::fork();
    if (other == 0) {
        QString text;
        const auto reader = StorageReader::Open(path, StorageReader::Access::Normal, text);
        StoredRow row;
        ::_exit(reader && reader->getState() == StorageReader::State::BeingWritten &&
                        reader->read(2, row) == Found::Found && reader->read(3, row) == Found::Missing
                    ? 0
                    : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(other, &status, 0), other);
    EXPECT_EQ(status, 0);

    const OpenedStorage opened = openAnyhow(path);
    ASSERT_TRUE(opened.reader);
    EXPECT_FALSE(opened.recovery || opened.wasInterrupted);
    EXPECT_FALSE(RecoverStorage(path, pathOf(QStringLiteral("b.pdr"))).error.isEmpty());

    sqlite3 *database = nullptr;
    sqlite3_open_v2(QFile::encodeName(path).constData(), &database, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_exec(database, "BEGIN; SELECT * FROM entry", nullptr, nullptr, nullptr);
    EXPECT_EQ(writer->append({rowOf(3)}), Outcome::Busy);
    EXPECT_EQ(writer->close(), Outcome::Busy);
    sqlite3_close(database);
    EXPECT_EQ(writer->append({rowOf(3)}), Outcome::Done) << "the same rows come again";
    EXPECT_EQ(writer->append({rowOf(3)}), Outcome::Failed) << "ids are new";
    EXPECT_EQ(writer->append({rowOf(4)}), Outcome::Done);
    StoredRow row;
    EXPECT_EQ(opened.reader->read(3, row), Found::Found) << "who has it open sees what comes";
    EXPECT_EQ(writer->close(), Outcome::Done);
    EXPECT_FALSE(FileLock::IsHeld(path));
    EXPECT_EQ(list(), QStringList(QStringLiteral("a.pdr")));
    EXPECT_EQ(open(path)->getLastId(), 4);
}

TEST_F(StorageTest, NoticesThatItsFileIsGone)
{
    for (const bool isReplaced : {false, true}) {
        const QString path = pathOf(QStringLiteral("a.pdr"));
        const auto writer = create(QStringLiteral("a.pdr"));
        ASSERT_EQ(writer->append({rowOf(1)}), Outcome::Done);
        ASSERT_TRUE(QFile::remove(path));
        if (isReplaced)
            write(path, "other");
        EXPECT_EQ(writer->append({rowOf(2)}), Outcome::Failed);
        EXPECT_EQ(writer->getError(), QStringLiteral("the file is gone"));
        EXPECT_EQ(writer->close(), Outcome::Failed);
        EXPECT_EQ(QFile::exists(path), isReplaced);
        QFile::remove(path);
    }
}

TEST_F(StorageTest, AnIdentifierHasOneWriterAtATime)
{
    Storages &storages = Storages::getInstance();
    const QString name = QStringLiteral("tests");
    const auto url = [this](const char *file) { return QUrl::fromLocalFile(pathOf(QString::fromLatin1(file))); };
    auto writer = storages.create(name, url("a.pdr"), {}, error);
    ASSERT_TRUE(writer);
    EXPECT_FALSE(storages.create(name, url("b.pdr"), {}, error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_FALSE(QFile::exists(pathOf(QStringLiteral("b.pdr"))));
    writer.reset();
    EXPECT_TRUE(storages.create(name, url("b.pdr"), {}, error));
}
