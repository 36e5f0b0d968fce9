#pragma once

#include "framework_export.h"
#include "platform/storage/storage_reader.h"

#include <functional>

namespace FrameworkCore::AppData::Storage
{

/// Called now and then with the part from 0 to 1 that is done; false ends the work.
using StorageProgress = std::function<bool(double done)>;

/// An entry that cannot be read as it was written.
struct DamagedEntry
{
    QString uuid;
    QString category; ///< empty where it cannot be told
};

/// What a look at every entry found.
struct StorageCheck
{
    static constexpr std::size_t MostListed = 20;

    qint64 rows = 0;                 ///< that are there, damaged ones too
    qint64 damaged = 0;              ///< of these, and of those that are missing
    std::vector<DamagedEntry> first; ///< at most MostListed of the damaged ones
    bool isIndexWrong = false;       ///< the index does not lead to the rows
    bool isComplete = false;         ///< nobody ended the work

    bool isIntact() const { return isComplete && damaged == 0 && !isIndexWrong; }
};

/// Reads all rows one by one, with their checksums, and compares the index with them.
FRAMEWORK_EXPORT StorageCheck CheckStorage(const StorageReader &reader, const StorageProgress &progress = {});

/// Calls for every row that can be found, in order of id, damaged ones with what is known of them. False when
/// `visit` or `progress` ended it.
FRAMEWORK_EXPORT bool WalkRows(const StorageReader &reader,
                               const std::function<bool(const StoredRow &row, StorageReader::Outcome outcome)> &visit,
                               const StorageProgress &progress = {});

} // namespace FrameworkCore::AppData::Storage
