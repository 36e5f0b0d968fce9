#pragma once

#include "framework_export.h"
#include "platform/storage/storage_reader.h"
#include "platform/storage/storage_writer.h"

#include <QHash>

#include <memory>
#include <mutex>

namespace FrameworkCore::AppData::Storage
{

/// The storages that the application has open, by an identifier of the opener's choice. Any thread.
class FRAMEWORK_EXPORT Storages
{
public:
    /// Those of the application.
    static Storages &getInstance();

    /// Makes a storage, see StorageWriter::Create. Fails when the identifier is that of a storage which is still being
    /// written.
    std::shared_ptr<StorageWriter> create(const QString &identifier, const QUrl &url,
                                          const QMap<QString, QString> &facts, QString &error);
    /// Makes a reader known; it stays until it is removed. One that was there before is replaced.
    void addReader(const QString &identifier, const std::shared_ptr<StorageReader> &reader);
    /// Null when there is none.
    std::shared_ptr<StorageReader> findReader(const QString &identifier) const;
    void removeReader(const QString &identifier);

private:
    mutable std::mutex m_mutex;
    QHash<QString, std::weak_ptr<StorageWriter>> m_writers;
    QHash<QString, std::shared_ptr<StorageReader>> m_readers;
};

} // namespace FrameworkCore::AppData::Storage
