#pragma once

#include "framework_export.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

namespace FrameworkCore::AppData::Storage
{

/// What a storage's address says: "file:" with an absolute path, and pragmas as query items "pragma_NAME=VALUE".
/// Known are synchronous (OFF, NORMAL, FULL, EXTRA), journal_mode (MEMORY, PERSIST, TRUNCATE, DELETE, WAL, OFF) and
/// cache_size (a whole number).
struct StorageOptions
{
    QString path;
    QByteArray pragmas; ///< as statements
};

/// False, with one sentence, for another scheme, an empty path, and an item or value that is not known.
FRAMEWORK_EXPORT bool ReadStorageUrl(const QUrl &url, StorageOptions &options, QString &error);

} // namespace FrameworkCore::AppData::Storage
