#include "platform/storage/storage_writer.h"

#include "platform/storage/file_lock.h"
#include "platform/storage/sqlite.h"
#include "platform/storage/storage_options.h"
#include "platform/storage/storage_schema.h"

#include <QFile>
#include <QFileInfo>

#include <sqlite3.h>

#include <functional>
#include <optional>

#include <sys/stat.h>

namespace FrameworkCore::AppData::Storage
{

using Outcome = StorageWriter::Outcome;

namespace
{

/// Which file a name leads to.
struct FileIdentity
{
    dev_t device;
    ino_t node;

    friend bool operator==(const FileIdentity &, const FileIdentity &) = default;
};

std::optional<FileIdentity> identify(const QString &path)
{
    struct stat status;
    if (::stat(QFile::encodeName(path).constData(), &status) != 0 || status.st_nlink == 0)
        return std::nullopt;
    return FileIdentity{status.st_dev, status.st_ino};
}

} // namespace

struct StorageWriter::Private
{
    QString path;
    ElementUuids uuids;
    FileLock lock;
    SqliteDatabase database;
    std::optional<FileIdentity> identity;
    SqliteStatement insert;
    SqliteStatement update;
    std::vector<EntryKind> kinds;
    std::size_t storedKinds = 0;
    qint64 lastRow = 0;
    QString error;

    Outcome fail(const QString &what)
    {
        const bool isBusy = database.isOpen() && database.getErrorCode() == SQLITE_BUSY;
        error = what.isEmpty() ? database.getErrorText() : what;
        if (database.isOpen())
            database.execute("ROLLBACK");
        return isBusy ? Outcome::Busy : Outcome::Failed;
    }

    /// SQLite itself goes on writing to a file without a name, which nobody could read any more.
    bool isFileThere() const { return identity && identify(path) == identity; }

    Outcome transact(const std::function<bool()> &write)
    {
        if (!database.isOpen())
            return fail(QStringLiteral("the file is closed"));
        if (!isFileThere())
            return fail(QStringLiteral("the file is gone"));
        if (!database.execute("BEGIN IMMEDIATE") || !write() || !database.execute("COMMIT"))
            return fail({});
        return Outcome::Done;
    }

    bool insertRow(const StoredRow &row) const
    {
        const SqliteReset atEnd(insert);
        insert.bind(1, row.id);
        insert.bind(2, row.kind);
        insert.bind(3, row.number);
        insert.bind(4, ComputeChecksum(row));
        insert.bindBytes(5, row.data);
        return insert.step() == SqliteStatement::Step::Done;
    }

    bool updateRow(const StoredRow &row) const
    {
        const SqliteReset atEnd(update);
        update.bind(1, row.id);
        update.bind(2, row.number);
        update.bind(3, ComputeChecksum(row));
        update.bindBytes(4, row.data);
        return update.step() == SqliteStatement::Step::Done;
    }

    bool insertFact(const QString &name, const QString &value) const
    {
        const SqliteStatement statement(database, Schema::InsertFact);
        statement.bindText(1, name);
        statement.bindText(2, value);
        return statement.isValid() && statement.step() == SqliteStatement::Step::Done;
    }

    bool insertKinds()
    {
        for (std::size_t i = storedKinds; i < kinds.size(); ++i) {
            const SqliteStatement statement(database, Schema::InsertKind);
            statement.bind(1, qint64(i) + 1);
            statement.bindText(2, kinds[i].type);
            statement.bindText(3, kinds[i].category);
            statement.bindText(4, kinds[i].classification);
            statement.bind(5, kinds[i].recordSize);
            if (!statement.isValid() || statement.step() != SqliteStatement::Step::Done)
                return false;
        }
        return true;
    }

    bool initialize(const QMap<QString, QString> &facts)
    {
        bool isDone = insertFact(Schema::SeedFact, QString::number(uuids.getSeed())) &&
                      insertFact(Schema::StateFact, Schema::StateOpen);
        for (auto fact = facts.begin(); fact != facts.end(); ++fact)
            isDone = isDone && insertFact(fact.key(), fact.value());
        return isDone;
    }
};

StorageWriter::StorageWriter(std::unique_ptr<Private> data) : d(std::move(data)) {}

StorageWriter::~StorageWriter() = default;

std::unique_ptr<StorageWriter> StorageWriter::Create(const QUrl &url, const ElementUuids &uuids,
                                                     const QMap<QString, QString> &facts, QString &error)
{
    StorageOptions options;
    if (!ReadStorageUrl(url, options, error))
        return nullptr;
    if (QFileInfo::exists(options.path)) {
        error = QStringLiteral("the file exists already");
        return nullptr;
    }
    auto data = std::unique_ptr<Private>(new Private{options.path, uuids, {}, {}, {}, {}, {}, {}, 0, 0, {}});
    if (!data->lock.acquire(options.path)) {
        error = QStringLiteral("the file beside it that locks it cannot be made");
        return nullptr;
    }
    if (!data->database.open(options.path, SqliteDatabase::Mode::Create)) {
        error = data->database.getErrorText();
        return nullptr;
    }
    data->identity = identify(options.path);
    // What spills out of the cache before its transaction ends would be half an entry after a crash.
    const bool isMade =
        data->database.execute(QByteArray(Schema::Layout) + options.pragmas + "PRAGMA cache_spill=OFF;") &&
        data->database.execute(Schema::Tables) &&
        data->transact([&] { return data->initialize(facts); }) == Outcome::Done;
    if (isMade) {
        data->insert = SqliteStatement(data->database, Schema::InsertRow);
        data->update = SqliteStatement(data->database, Schema::UpdateRow);
    }
    if (!isMade || !data->insert.isValid() || !data->update.isValid()) {
        error = data->error.isEmpty() ? data->database.getErrorText() : data->error;
        data->database.close();
        QFile::remove(options.path);
        return nullptr;
    }
    return std::unique_ptr<StorageWriter>(new StorageWriter(std::move(data)));
}

const ElementUuids &StorageWriter::getUuids() const
{
    return d->uuids;
}

QString StorageWriter::getPath() const
{
    return d->path;
}

int StorageWriter::addKind(const EntryKind &kind)
{
    for (std::size_t i = 0; i < d->kinds.size(); ++i) {
        if (d->kinds[i] == kind)
            return int(i) + 1;
    }
    d->kinds.push_back(kind);
    return int(d->kinds.size());
}

Outcome StorageWriter::append(const std::vector<StoredRow> &rows, const std::vector<StoredRow> &replacements)
{
    const Outcome outcome = d->transact([&] {
        bool isDone = d->insertKinds();
        for (const StoredRow &row : replacements)
            isDone = isDone && d->updateRow(row);
        for (const StoredRow &row : rows)
            isDone = isDone && d->insertRow(row);
        return isDone;
    });
    if (outcome != Outcome::Done)
        return outcome;
    d->storedKinds = d->kinds.size();
    for (const StoredRow &row : rows)
        d->lastRow = qMax(d->lastRow, row.id);
    return outcome;
}

Outcome StorageWriter::close()
{
    const Outcome outcome = d->transact([&] {
        const SqliteStatement statement(d->database, Schema::UpdateFact);
        statement.bindText(1, Schema::StateFact);
        statement.bindText(2, Schema::StateClosed);
        return statement.isValid() && statement.step() == SqliteStatement::Step::Done &&
               d->insertFact(Schema::LastRowFact, QString::number(d->lastRow));
    });
    if (outcome == Outcome::Busy)
        return outcome;
    d->insert = {};
    d->update = {};
    const bool isClosed = d->database.close();
    d->lock.release();
    return isClosed ? outcome : Outcome::Failed;
}

QString StorageWriter::getError() const
{
    return d->error;
}

qint64 StorageWriter::getSize() const
{
    return QFileInfo(d->path).size();
}

} // namespace FrameworkCore::AppData::Storage
