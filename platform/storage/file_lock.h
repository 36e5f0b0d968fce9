#pragma once

#include "framework_export.h"

#include <QString>

namespace FrameworkCore::AppData::Storage
{

/// Tells other programs that a file is being written: an advisory lock on a file beside it, which the system drops
/// with the process that holds it, whatever ends it.
class FRAMEWORK_EXPORT FileLock
{
public:
    FileLock() = default;
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;
    ~FileLock();

    /// False when somebody else holds it, or when the file beside cannot be made.
    bool acquire(const QString &path);
    /// Removes the file beside.
    void release();

    /// Whether anybody, this process too, holds the lock of the file.
    static bool IsHeld(const QString &path);

private:
    QString m_lockPath;
    int m_descriptor = -1;
};

} // namespace FrameworkCore::AppData::Storage
