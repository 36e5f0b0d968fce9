#pragma once

#include "framework_export.h"
#include "platform/storage/storage_format.h"

#include <QMap>
#include <QUrl>

#include <memory>
#include <vector>

namespace FrameworkCore::AppData::Storage
{

/// Writes a new storage. One thread at a time.
class FRAMEWORK_EXPORT StorageWriter
{
public:
    /// Makes the file; an existing one is never touched. `uuids` and `facts` (short texts for those who open the file)
    /// are kept in it. Nothing, with one sentence, on failure.
    static std::unique_ptr<StorageWriter> Create(const QUrl &url, const ElementUuids &uuids,
                                                 const QMap<QString, QString> &facts, QString &error);
    StorageWriter(const StorageWriter &) = delete;
    StorageWriter &operator=(const StorageWriter &) = delete;
    /// Leaves a storage that was not closed as an interrupted one.
    ~StorageWriter();

    const ElementUuids &getUuids() const;
    QString getPath() const;

    /// The number of a kind, a new one for a kind that is not known yet; it is stored with the next rows.
    int addKind(const EntryKind &kind);

    enum class Outcome {
        Done,
        Busy,  ///< another program reads; nothing is stored, the same rows may come again
        Failed ///< nothing of the rows is stored, what was stored before stays
    };
    /// Stores the rows in one transaction. Their ids ascend, and are new, those of the replacements apart.
    Outcome append(const std::vector<StoredRow> &rows, const std::vector<StoredRow> &replacements = {});
    /// Marks the storage as complete, and closes it.
    Outcome close();

    /// What failed last, in words.
    QString getError() const;
    /// Bytes of the file.
    qint64 getSize() const;

private:
    struct Private;
    explicit StorageWriter(std::unique_ptr<Private> data);
    std::unique_ptr<Private> d;
};

} // namespace FrameworkCore::AppData::Storage
