#pragma once

#include "framework_export.h"
#include "platform/storage/storage_check.h"

#include <optional>

namespace FrameworkCore::AppData::Storage
{

/// What came out of a damaged storage.
struct RecoveryReport
{
    QString path;           ///< of the new storage; empty when there is none
    QString error;          ///< one sentence; empty when there is a new storage
    qint64 found = 0;       ///< rows of the damaged storage, those that are missing in between too
    qint64 restored = 0;    ///< rows of the new one
    bool wasClosed = false; ///< the damaged one was written to its end
};

/// Copies every row whose checksum holds from `source` to a new storage at `target`, with its id; the source stays
/// as it is. What is begun and not finished is removed.
FRAMEWORK_EXPORT RecoveryReport RecoverStorage(const QString &source, const QString &target,
                                               const StorageProgress &progress = {});

/// Recovers into "NAME.recovered.SUFFIX" beside the source, or below `cacheFolder` where its folder cannot be written
/// to. One that was made before from the same bytes, by size and time, is used again; another's name gets a number.
FRAMEWORK_EXPORT RecoveryReport RecoverStorageBeside(const QString &source, const QString &cacheFolder,
                                                     const StorageProgress &progress = {});

/// What became of opening a storage.
struct OpenedStorage
{
    std::unique_ptr<StorageReader> reader;  ///< empty when it failed
    QString error;                          ///< one sentence; empty when it is open
    std::optional<RecoveryReport> recovery; ///< where the reader reads a recovered copy
    bool wasInterrupted = false;            ///< its writer did not close it, and it is intact all the same
};

/// Opens a storage for reading. One that was not closed is looked through; where it, or one that is cut short, is
/// damaged, a recovered copy is opened in its place.
FRAMEWORK_EXPORT OpenedStorage OpenStorage(const QString &path, const QString &cacheFolder,
                                           const StorageProgress &progress = {});

} // namespace FrameworkCore::AppData::Storage
