#include "platform/storage/storage_check.h"

#include "platform/storage/storage_schema.h"

#include <map>

namespace FrameworkCore::AppData::Storage
{

namespace
{

/// The last id may itself be damaged: rows behind it are looked for, and what is missing before it is not believed
/// without end.
constexpr qint64 Patience = 20'000;
constexpr qint64 RowsBetweenReports = 256;

/// Of a kind's rows, so that an index that misses or repeats some shows.
struct Tally
{
    qint64 count = 0;
    quint64 ids = 0;
    quint64 numbers = 0;

    void add(qint64 id, qint64 number)
    {
        ++count;
        ids += quint64(id);
        numbers += quint64(number);
    }
    friend bool operator==(const Tally &, const Tally &) = default;
};

} // namespace

bool WalkRows(const StorageReader &reader,
              const std::function<bool(const StoredRow &row, StorageReader::Outcome outcome)> &visit,
              const StorageProgress &progress)
{
    // A row takes more than its own few bytes, so no file holds more rows than this.
    const qint64 last = qMin(reader.getLastId(), reader.getSize() / 8);
    const double whole = double(qMax<qint64>(1, last));
    std::vector<qint64> missing;
    StoredRow row;
    for (qint64 id = 1; qint64(missing.size()) < Patience; ++id) {
        // What comes while this walks is left for another time: of two rows that are stored at once only the second
        // might be seen.
        if (id > last && reader.getState() == StorageReader::State::BeingWritten)
            break;
        if (progress && id % RowsBetweenReports == 0 && !progress(qMin(1.0, double(id) / whole)))
            return false;
        const auto outcome = reader.read(id, row);
        row.id = id;
        if (outcome == StorageReader::Outcome::Missing) {
            if (id > last && missing.empty() && reader.getState() == StorageReader::State::Closed)
                break;
            missing.push_back(id);
            continue;
        }
        if (outcome == StorageReader::Outcome::Damaged && id > last) {
            // Pages that cannot be read answer so for any id.
            missing.push_back(id);
            continue;
        }
        for (const qint64 lost : missing) {
            if (!visit({lost, 0, 0, {}}, StorageReader::Outcome::Missing))
                return false;
        }
        missing.clear();
        if (!visit(row, outcome))
            return false;
    }
    for (const qint64 lost : missing) {
        if (lost <= last && !visit({lost, 0, 0, {}}, StorageReader::Outcome::Missing))
            return false;
    }
    return !progress || progress(1.0);
}

StorageCheck CheckStorage(const StorageReader &reader, const StorageProgress &progress)
{
    StorageCheck check;
    std::map<int, Tally> tallies;
    // What was lost before is not damage of the recovered storage.
    const bool hasGaps = reader.getFacts().contains(Schema::RecoveredSizeFact);
    check.isComplete = WalkRows(
        reader,
        [&](const StoredRow &row, StorageReader::Outcome outcome) {
            if (outcome == StorageReader::Outcome::Missing && hasGaps)
                return true;
            if (outcome != StorageReader::Outcome::Missing)
                ++check.rows;
            if (outcome == StorageReader::Outcome::Found && reader.getKind(row.kind)) {
                tallies[row.kind].add(row.id, row.number);
                return true;
            }
            ++check.damaged;
            if (check.first.size() < StorageCheck::MostListed) {
                const EntryKind *kind = reader.getKind(row.kind);
                check.first.push_back({reader.getUuids().toUuid({0, row.id}), kind ? kind->category : QString()});
            }
            return true;
        },
        progress);
    if (!check.isComplete || check.damaged > 0 || reader.getState() == StorageReader::State::BeingWritten)
        return check;
    for (int kind = 1; std::size_t(kind) <= reader.getKinds().size(); ++kind) {
        Tally indexed;
        for (const RowPlace &place : reader.listRows(kind))
            indexed.add(place.id, place.number);
        check.isIndexWrong = check.isIndexWrong || !(indexed == tallies[kind]);
    }
    return check;
}

} // namespace FrameworkCore::AppData::Storage
