#include "platform/storage/storage_reader.h"

#include "platform/storage/file_lock.h"
#include "platform/storage/sqlite.h"
#include "platform/storage/storage_schema.h"

#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <algorithm>
#include <limits>
#include <mutex>

namespace FrameworkCore::AppData::Storage
{

using Outcome = StorageReader::Outcome;
using Step = SqliteStatement::Step;

namespace
{

constexpr int LargestRecord = 4096;
constexpr int MostKinds = 16383;

/// What stands in the first hundred bytes, read without SQLite: it says whether the file is ours at all.
QString inspectHeader(const QString &path)
{
    QFile file(path);
    // Whoever opened a pipe would wait for its other end.
    if (file.exists() && !QFileInfo(path).isFile())
        return QStringLiteral("is no file");
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot be opened: %1").arg(file.errorString());
    const QByteArray header = file.read(100);
    if (!header.startsWith(QByteArray("SQLite format 3\0", 16)) || header.size() < 100)
        return QStringLiteral("is no recording");
    if (qFromBigEndian<qint32>(header.constData() + 68) != ApplicationId)
        return QStringLiteral("is a database of another program");
    const qint32 version = qFromBigEndian<qint32>(header.constData() + 60);
    if (version != SchemaVersion)
        return QStringLiteral("has the schema version %1, this program reads version %2")
            .arg(version)
            .arg(SchemaVersion);
    return {};
}

} // namespace

struct StorageReader::Private
{
    QString path;
    State state = State::Closed;
    ElementUuids uuids{0};
    QMap<QString, QString> facts;
    std::vector<EntryKind> kinds;

    mutable std::mutex mutex;
    SqliteDatabase database;
    SqliteStatement selectRow, selectLast, selectPlaces, selectBefore, countKind;

    QString load(Access access);
    bool hasOurTables() const;
    bool loadFacts();
    bool loadKinds();
    Outcome find(qint64 id, StoredRow &row) const;
};

/// A planted view or trigger could stand where a table is expected.
bool StorageReader::Private::hasOurTables() const
{
    const std::vector<std::pair<QString, QByteArray>> expected{
        {QStringLiteral("table"), Schema::FactTable},
        {QStringLiteral("table"), Schema::KindTable},
        {QStringLiteral("table"), Schema::EntryTable},
        {QStringLiteral("index"), Schema::EntryIndex},
    };
    const SqliteStatement statement(database, Schema::SelectSchema);
    if (!statement.isValid())
        return false;
    std::size_t found = 0;
    while (statement.step() == Step::Row) {
        const std::pair<QString, QByteArray> row{statement.getText(0), statement.getText(2).toUtf8()};
        found += std::size_t(std::count(expected.begin(), expected.end(), row));
    }
    return found == expected.size();
}

bool StorageReader::Private::loadFacts()
{
    const SqliteStatement statement(database, Schema::SelectFacts);
    if (!statement.isValid())
        return false;
    Step step;
    while ((step = statement.step()) == Step::Row)
        facts[statement.getText(0)] = statement.getText(1);
    bool isSeed = false;
    uuids = ElementUuids(facts.value(Schema::SeedFact).toULongLong(&isSeed));
    return step == Step::Done && isSeed;
}

bool StorageReader::Private::loadKinds()
{
    const SqliteStatement statement(database, Schema::SelectKinds);
    if (!statement.isValid())
        return false;
    Step step;
    while ((step = statement.step()) == Step::Row) {
        const qint64 recordSize = statement.getInteger(4);
        if (statement.getInteger(0) != qint64(kinds.size()) + 1 || recordSize < 0 || recordSize > LargestRecord ||
            kinds.size() >= MostKinds)
            return false;
        kinds.push_back({statement.getText(1), statement.getText(2), statement.getText(3), int(recordSize)});
    }
    return step == Step::Done;
}

/// The sentence about what is wrong; empty when the storage can be read.
QString StorageReader::Private::load(Access access)
{
    const QString objection = inspectHeader(path);
    if (!objection.isEmpty())
        return objection;
    const bool isWritten = FileLock::IsHeld(path);
    const auto mode = isWritten                  ? SqliteDatabase::Mode::ReadShared
                      : access == Access::Rescue ? SqliteDatabase::Mode::Rescue
                                                 : SqliteDatabase::Mode::ReadAlone;
    if (!database.open(path, mode))
        return QStringLiteral("cannot be opened: %1").arg(database.getErrorText());
    // A commit is short, but the disk below it may be busy with others; what is locked for longer counts as damaged.
    database.execute("PRAGMA busy_timeout=5000");
    if (!hasOurTables())
        return database.getErrorCode() == 0 || database.getErrorCode() > 100
                   ? QStringLiteral("has no tables of a recording")
                   : QStringLiteral("is damaged: %1").arg(database.getErrorText());
    if (!loadFacts() || !loadKinds())
        return QStringLiteral("is damaged: its tables of facts or kinds cannot be read");
    selectRow = SqliteStatement(database, Schema::SelectRow);
    selectLast = SqliteStatement(database, Schema::SelectLast);
    selectPlaces = SqliteStatement(database, Schema::SelectPlaces);
    selectBefore = SqliteStatement(database, Schema::SelectPlaceAtOrBefore);
    countKind = SqliteStatement(database, Schema::CountKind);
    if (!selectRow.isValid() || !selectLast.isValid() || !selectPlaces.isValid() || !selectBefore.isValid() ||
        !countKind.isValid())
        return QStringLiteral("is damaged: %1").arg(database.getErrorText());
    state = isWritten                                               ? State::BeingWritten
            : facts.value(Schema::StateFact) == Schema::StateClosed ? State::Closed
                                                                    : State::Interrupted;
    return {};
}

StorageReader::StorageReader(std::unique_ptr<Private> data) : d(std::move(data)) {}

StorageReader::~StorageReader() = default;

std::unique_ptr<StorageReader> StorageReader::Open(const QString &path, Access access, QString &error)
{
    auto data = std::make_unique<Private>();
    data->path = path;
    const QString objection = data->load(access);
    if (!objection.isEmpty()) {
        error = QStringLiteral("\"%1\" %2").arg(path, objection);
        return nullptr;
    }
    return std::unique_ptr<StorageReader>(new StorageReader(std::move(data)));
}

StorageReader::State StorageReader::getState() const
{
    return d->state;
}

QString StorageReader::getPath() const
{
    return d->path;
}

const ElementUuids &StorageReader::getUuids() const
{
    return d->uuids;
}

QMap<QString, QString> StorageReader::getFacts() const
{
    return d->facts;
}

const std::vector<EntryKind> &StorageReader::getKinds() const
{
    return d->kinds;
}

std::vector<int> StorageReader::findKinds(const QString &type, const QString &category) const
{
    std::vector<int> found;
    for (std::size_t i = 0; i < d->kinds.size(); ++i) {
        if (d->kinds[i].type == type && (category.isEmpty() || d->kinds[i].category == category))
            found.push_back(int(i) + 1);
    }
    return found;
}

const EntryKind *StorageReader::getKind(int number) const
{
    return number >= 1 && std::size_t(number) <= d->kinds.size() ? &d->kinds[std::size_t(number) - 1] : nullptr;
}

/// The statement holds the row's bytes until it is reset.
Outcome StorageReader::Private::find(qint64 id, StoredRow &row) const
{
    row = {};
    selectRow.bind(1, id);
    switch (selectRow.step()) {
    case Step::Done:
        return Outcome::Missing;
    case Step::Row:
        break;
    default:
        return Outcome::Damaged;
    }
    row.id = id;
    const qint64 kind = selectRow.getInteger(0);
    row.kind = int(qBound<qint64>(0, kind, std::numeric_limits<int>::max()));
    row.number = selectRow.getInteger(1);
    const qint64 checksum = selectRow.getInteger(2);
    row.data = selectRow.viewBytes(3);
    return row.kind == kind && selectRow.isBytes(3) && ComputeChecksum(row) == checksum ? Outcome::Found
                                                                                        : Outcome::Damaged;
}

Outcome StorageReader::read(qint64 id, StoredRow &row) const
{
    const std::lock_guard guard(d->mutex);
    const SqliteReset atEnd(d->selectRow);
    const Outcome outcome = d->find(id, row);
    row.data.detach();
    return outcome;
}

Outcome StorageReader::look(qint64 id, const std::function<void(const StoredRow &row)> &take) const
{
    const std::lock_guard guard(d->mutex);
    const SqliteReset atEnd(d->selectRow);
    StoredRow row;
    const Outcome outcome = d->find(id, row);
    if (outcome == Outcome::Found)
        take(row);
    return outcome;
}

std::vector<RowPlace> StorageReader::listRows(int kind, const RowPlace &behind, int limit) const
{
    const std::lock_guard guard(d->mutex);
    const SqliteReset atEnd(d->selectPlaces);
    d->selectPlaces.bind(1, kind);
    d->selectPlaces.bind(2, behind.number);
    d->selectPlaces.bind(3, behind.id);
    d->selectPlaces.bind(4, limit);
    std::vector<RowPlace> places;
    while (d->selectPlaces.step() == Step::Row)
        places.push_back({d->selectPlaces.getInteger(0), d->selectPlaces.getInteger(1)});
    return places;
}

std::vector<RowPlace> StorageReader::listRows(int kind) const
{
    // In pieces, so that a writer's commit finds a moment without a reader.
    constexpr int Piece = 10'000;
    std::vector<RowPlace> all;
    RowPlace last{std::numeric_limits<qint64>::min(), 0};
    for (;;) {
        const std::vector<RowPlace> piece = listRows(kind, last, Piece);
        for (const RowPlace &place : piece) {
            // The index of a damaged file may lead in circles.
            if (place.number < last.number || (place.number == last.number && place.id <= last.id))
                return all;
            last = place;
            all.push_back(place);
        }
        if (int(piece.size()) < Piece)
            return all;
    }
}

RowPlace StorageReader::findRowAtOrBefore(int kind, qint64 number) const
{
    const std::lock_guard guard(d->mutex);
    const SqliteReset atEnd(d->selectBefore);
    d->selectBefore.bind(1, kind);
    d->selectBefore.bind(2, number);
    if (d->selectBefore.step() != Step::Row)
        return {};
    return {d->selectBefore.getInteger(0), d->selectBefore.getInteger(1)};
}

qint64 StorageReader::countRows(int kind) const
{
    const std::lock_guard guard(d->mutex);
    const SqliteReset atEnd(d->countKind);
    d->countKind.bind(1, kind);
    return d->countKind.step() == Step::Row ? d->countKind.getInteger(0) : 0;
}

qint64 StorageReader::getLastId() const
{
    const std::lock_guard guard(d->mutex);
    const SqliteReset atEnd(d->selectLast);
    return d->selectLast.step() == Step::Row ? d->selectLast.getInteger(0) : 0;
}

qint64 StorageReader::getSize() const
{
    return QFileInfo(d->path).size();
}

} // namespace FrameworkCore::AppData::Storage
