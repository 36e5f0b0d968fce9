#include "platform/storage/storage_monitor.h"
#include "tests/platform/storage_tools.h"
#include "tests/support/event_loop.h"

#include <QElapsedTimer>
#include <QRegularExpression>

#include <functional>
#include <mutex>
#include <sqlite3.h>

using namespace StorageTools;
using LoadStatus = StorageMonitor::LoadStatus;

namespace
{

constexpr qint64 Rows = 100;

/// Lets SQLite itself do what no recording has in it.
void spoil(const QString &path, const char *statements)
{
    sqlite3 *database = nullptr;
    ASSERT_EQ(sqlite3_open(QFile::encodeName(path).constData(), &database), SQLITE_OK);
    sqlite3_db_config(database, SQLITE_DBCONFIG_WRITABLE_SCHEMA, 1, nullptr);
    char *text = nullptr;
    EXPECT_EQ(sqlite3_exec(database, statements, nullptr, nullptr, &text), SQLITE_OK)
        << statements << (text ? text : "");
    sqlite3_free(text);
    sqlite3_close(database);
}

QByteArray hashOf(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256);
}

} // namespace

TEST_F(StorageTest, ForeignAndHostileFilesAreToldInOneSentence)
{
    struct Row
    {
        const char *name;
        std::function<void(const QString &path)> make;
        bool opens; ///< what is planted does not keep the entries from being read
    };
    const auto bytes = [](const QByteArray &content) {
        return [content](const QString &path) { write(path, content); };
    };
    const auto planted = [this](const char *statements) {
        return [this, statements](const QString &path) {
            make(QFileInfo(path).fileName(), Rows);
            spoil(path, statements);
        };
    };
    const auto patched = [this](int place, const QByteArray &with) {
        return [this, place, with](const QString &path) {
            make(QFileInfo(path).fileName(), Rows);
            write(path, contentOf(path).replace(place, with.size(), with));
        };
    };
    const Row rows[] = {
        {"empty", bytes({}), false},
        {"text", bytes("channel,period\n1,2\n"), false},
        {"header only", bytes("SQLite format 3"), false},
        {"zeros", bytes(QByteArray(100'000, '\0')), false},
        {"noise behind a header", bytes(QByteArray("SQLite format 3\0", 16) + bytesOf(1, 50'000)), false},
        {"other database",
         [](const QString &path) { spoil(path, "CREATE TABLE entry(a); INSERT INTO entry VALUES(1)"); }, false},
        {"dressed up",
         [](const QString &path) {
             spoil(path, "PRAGMA application_id=1313822789; PRAGMA user_version=1; CREATE TABLE entry(a)");
         },
         false},
        {"newer schema", planted("PRAGMA user_version=2"), false},
        {"view for a table",
         planted(
             "ALTER TABLE entry RENAME TO other; CREATE VIEW entry AS WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL "
             "SELECT x+1 FROM c) SELECT x AS id, 1 AS kind, x AS number, 0 AS checksum, zeroblob(1) AS data FROM c"),
         false},
        {"planted trigger",
         planted("CREATE TRIGGER t AFTER INSERT ON entry BEGIN DELETE FROM entry; END; CREATE VIEW v AS SELECT 1"),
         true},
        {"other column type", planted("UPDATE sqlite_schema SET sql = replace(sql, 'data BLOB', 'data TEXT')"), false},
        {"many facts",
         planted("WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x+1 FROM c WHERE x<50000) INSERT INTO fact "
                 "SELECT 'n'||x, 'v' FROM c"),
         true},
        {"no seed", planted("DELETE FROM fact WHERE name='seed'"), false},
        {"absurd record size", planted("UPDATE kind SET record_size=2000000000"), false},
        {"negative record size", planted("UPDATE kind SET record_size=-1"), false},
        {"kinds out of order", planted("UPDATE kind SET id=id+5"), false},
        {"text where bytes are", planted("UPDATE entry SET data='text', checksum='x', number=9.5"), true},
        {"huge ids", planted("UPDATE entry SET id=9223372036854775807 WHERE id=100"), true},
        {"negative ids", planted("UPDATE entry SET id=-id"), true},
        {"huge kind", planted("UPDATE entry SET kind=9223372036854775807"), true},
        {"page size of 512", patched(16, QByteArray::fromHex("0200")), false},
        {"absurd page count", patched(28, QByteArray::fromHex("7fffffff")), true},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const QString path = pathOf(QString::fromLatin1(row.name).replace(QLatin1Char(' '), QLatin1Char('_')));
        row.make(path);
        const QByteArray before = hashOf(contentOf(path));
        QElapsedTimer timer;
        timer.start();
        {
            const OpenedStorage opened = openAnyhow(path);
            EXPECT_EQ(opened.reader != nullptr, row.opens) << opened.error.toStdString();
            EXPECT_EQ(opened.error.isEmpty(), row.opens);
            EXPECT_FALSE(opened.error.contains(QLatin1Char('\n')));
            if (opened.reader)
                CheckStorage(*opened.reader);
            const RecoveryReport report = RecoverStorage(path, path + QStringLiteral(".new"));
            EXPECT_EQ(report.error.isEmpty(), QFile::exists(path + QStringLiteral(".new")));
        }
        EXPECT_LT(timer.elapsed(), 10'000);
        EXPECT_EQ(hashOf(contentOf(path)), before);
        EXPECT_EQ(list().filter(QRegularExpression(QStringLiteral("(journal|wal|shm|lock|tmp)$"))), QStringList());
    }
    EXPECT_FALSE(openAnyhow(pathOf(QStringLiteral("not there"))).error.isEmpty());
    EXPECT_FALSE(openAnyhow(folder.path()).error.isEmpty());
}

TEST_F(StorageTest, AMonitorLoadsListsAndCanBeCancelled)
{
    struct Row
    {
        const char *name;
        LoadStatus status;
        bool isCancelled;
    };
    make(QStringLiteral("good.pdr"), Rows);
    make(QStringLiteral("interrupted.pdr"), 2000, false);
    write(pathOf(QStringLiteral("text.pdr")), "text");
    const Row rows[] = {{"good.pdr", LoadStatus::Loaded, false},
                        {"interrupted.pdr", LoadStatus::Loaded, false},
                        {"interrupted.pdr", LoadStatus::Failed, true},
                        {"text.pdr", LoadStatus::Failed, false}};
    const QString identifier = QStringLiteral("monitored");
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        StorageMonitor monitor(identifier, pathOf(QString::fromLatin1(row.name)), pathOf(QStringLiteral("cache")));
        EXPECT_EQ(monitor.getLoadStatus(), LoadStatus::NotLoaded);
        EXPECT_FALSE(monitor.getReader());
        // Called in the monitor's threads.
        std::mutex mutex;
        std::vector<LoadStatus> seen;
        QStringList listed;
        QObject::connect(&monitor, &StorageMonitor::loadStatusChanged, [&](LoadStatus status) {
            const std::lock_guard guard(mutex);
            seen.push_back(status);
        });
        QObject::connect(&monitor, &StorageMonitor::elementsListed,
                         [&](const QString &, const QString &, const QStringList &uuids) {
                             const std::lock_guard guard(mutex);
                             listed = uuids;
                         });
        const auto copyOf = [&](const auto &value) {
            const std::lock_guard guard(mutex);
            return value;
        };
        if (row.isCancelled)
            monitor.setProgressReceiver([&](double) {
                monitor.cancel();
                return true;
            });
        monitor.startLoading();
        ASSERT_TRUE(runUntil([&] { return copyOf(seen).size() == 2; }));
        EXPECT_EQ(seen, (std::vector<LoadStatus>{LoadStatus::Loading, row.status}));
        EXPECT_EQ(monitor.getLoadStatus(), row.status);
        EXPECT_EQ(monitor.getError().isEmpty(), row.status == LoadStatus::Loaded);
        if (row.isCancelled) {
            EXPECT_EQ(monitor.getError(), QStringLiteral("interrupted"));
        }
        if (row.status != LoadStatus::Loaded)
            continue;
        monitor.startListing(Marks.type);
        ASSERT_TRUE(runUntil([&] { return !copyOf(listed).isEmpty(); }));
        EXPECT_EQ(copyOf(listed).size(), int(monitor.getReader()->countRows(2)));
        EXPECT_EQ(copyOf(listed).first(), monitor.getReader()->getUuids().toUuid({0, 1}));

        EntryMonitor missing(identifier, monitor.getReader()->getUuids().toUuid({0, 5000}));
        EXPECT_FALSE(missing.load());
        EXPECT_EQ(missing.getLoadStatus(), EntryMonitor::LoadStatus::Missing);
    }
    EntryMonitor gone(identifier, QStringLiteral("{}"));
    EXPECT_FALSE(gone.load()) << "the reader is known no longer than its monitor lives";
}
