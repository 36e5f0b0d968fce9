#pragma once

#include "framework_export.h"
#include "platform/storage/storage_reader.h"

#include <QVariant>

#include <functional>
#include <memory>

namespace FrameworkCore::AppData::Storage
{

/// Makes the element of a packed kind from its record: an entry of its class, as the repository's parser would.
using PackedElementMaker =
    std::function<std::shared_ptr<QVariant>(const StorageReader &reader, int kind, qint64 number, const char *record)>;

/// Says how the elements of a type are unpacked; the first registration of a type wins. Any thread.
FRAMEWORK_EXPORT bool RegisterPackedElements(const QString &type, int recordSize, const PackedElementMaker &maker);

/// An element and what it is filed under.
struct LoadedElement
{
    StorageReader::Outcome outcome = StorageReader::Outcome::Missing;
    EntryKind kind;
    std::shared_ptr<QVariant> value; ///< null unless it was found and its type is known
};

/// The element of a uuid, whether it has a row of its own or stands in a run.
FRAMEWORK_EXPORT LoadedElement LoadElement(const StorageReader &reader, const QString &uuid);
/// The entry of a row, by the parser of the application's repository; null for a type without one, and for a run.
FRAMEWORK_EXPORT std::shared_ptr<QVariant> ParseRow(const StorageReader &reader, const StoredRow &row);
/// The uuids of all elements of a type, in order of insertion within their kind.
FRAMEWORK_EXPORT QStringList ListElements(const StorageReader &reader, const QString &type,
                                          const QString &category = {});

} // namespace FrameworkCore::AppData::Storage
