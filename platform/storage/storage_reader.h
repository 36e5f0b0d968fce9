#pragma once

#include "framework_export.h"
#include "platform/storage/storage_format.h"

#include <QMap>

#include <functional>
#include <memory>
#include <vector>

namespace FrameworkCore::AppData::Storage
{

/// Where a row stands in the index of its kind.
struct RowPlace
{
    qint64 number = 0;
    qint64 id = 0;
};

/// Reads a storage and never writes to it, whoever made the file. Any thread; calls wait for each other.
class FRAMEWORK_EXPORT StorageReader
{
public:
    enum class Access {
        Normal,
        Rescue ///< also of a file that is cut short, whose index may be wrong
    };
    /// Nothing, with one sentence, when the file cannot be read or is no storage of this schema.
    static std::unique_ptr<StorageReader> Open(const QString &path, Access access, QString &error);
    StorageReader(const StorageReader &) = delete;
    StorageReader &operator=(const StorageReader &) = delete;
    ~StorageReader();

    enum class State {
        Closed,      ///< complete
        Interrupted, ///< its writer ended without closing it
        BeingWritten ///< its writer is at work
    };
    /// At the time of opening.
    State getState() const;
    QString getPath() const;
    const ElementUuids &getUuids() const;
    QMap<QString, QString> getFacts() const;
    /// By number, from 1 on. A storage that is being written may get more.
    const std::vector<EntryKind> &getKinds() const;
    /// The numbers of the kinds of a type; of a category too, unless that is empty.
    std::vector<int> findKinds(const QString &type, const QString &category = {}) const;
    /// Null for a number that no kind has.
    const EntryKind *getKind(int number) const;

    enum class Outcome { Found, Missing, Damaged };
    /// The row of an id. Damaged where its checksum does not hold (then `row` has what can be read) and where its bytes
    /// cannot be read.
    Outcome read(qint64 id, StoredRow &row) const;
    /// As read(), without a copy: `take` sees a row that was found, as long as it runs, and calls nothing here.
    Outcome look(qint64 id, const std::function<void(const StoredRow &row)> &take) const;

    /// At most `limit` rows of a kind behind the given place, in order of number, then id.
    std::vector<RowPlace> listRows(int kind, const RowPlace &behind, int limit) const;
    /// All of them.
    std::vector<RowPlace> listRows(int kind) const;
    /// The last row of a kind whose number is not above the given one; id 0 when there is none.
    RowPlace findRowAtOrBefore(int kind, qint64 number) const;
    qint64 countRows(int kind) const;
    /// 0 for an empty storage, and where it cannot be told.
    qint64 getLastId() const;
    /// Bytes of the file.
    qint64 getSize() const;

private:
    struct Private;
    explicit StorageReader(std::unique_ptr<Private> data);
    std::unique_ptr<Private> d;
};

} // namespace FrameworkCore::AppData::Storage
