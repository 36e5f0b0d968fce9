#pragma once

#include "framework_export.h"
#include "platform/storage/storage_recovery.h"

#include <QObject>
#include <QStringList>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace FrameworkCore::AppData::Storage
{

/// Opens a storage for reading and tells how far that is; lists what is in it. What takes long runs on a thread of its
/// own, unless the caller asks for the result at once. Signals come in that thread, or in the caller's.
class FRAMEWORK_EXPORT StorageMonitor : public QObject
{
    Q_OBJECT
public:
    enum class LoadStatus { NotLoaded, Loading, Loaded, Failed };
    Q_ENUM(LoadStatus)

    /// The reader is known by the identifier once it is open, and as long as this monitor lives. Recovered copies go
    /// below the cache folder where the file's own cannot be written to.
    StorageMonitor(const QString &identifier, const QString &path, const QString &cacheFolder,
                   QObject *parent = nullptr);
    /// Ends what is under way.
    ~StorageMonitor() override;

    /// Opens the storage in this thread; true when it is open.
    bool load();
    /// Opens it in a thread of its own.
    void startLoading();
    /// Ends the loading; it fails with "interrupted".
    void cancel() { m_isCancelled = true; }
    /// Called with the part that is done while the file is looked through; before the loading begins.
    void setProgressReceiver(const StorageProgress &receiver) { m_receiver = receiver; }

    LoadStatus getLoadStatus() const { return m_status; }
    QString getIdentifier() const { return m_identifier; }
    /// Null until it is loaded.
    std::shared_ptr<StorageReader> getReader() const;
    /// Why it failed, in one sentence.
    QString getError() const;
    /// Where the reader reads a recovered copy.
    std::optional<RecoveryReport> getRecovery() const;
    bool wasInterrupted() const;

    /// Lists the uuids of a type in a thread of its own; elementsListed() brings them.
    void startListing(const QString &type, const QString &category = {});

signals:
    void loadStatusChanged(FrameworkCore::AppData::Storage::StorageMonitor::LoadStatus status);
    void elementsListed(const QString &type, const QString &category, const QStringList &uuids);

private:
    void setStatus(LoadStatus status);

    const QString m_identifier;
    const QString m_path;
    const QString m_cacheFolder;
    StorageProgress m_receiver;
    std::atomic<LoadStatus> m_status = LoadStatus::NotLoaded;
    std::atomic<bool> m_isCancelled = false;
    mutable std::mutex m_mutex;
    OpenedStorage m_opened;
    std::shared_ptr<StorageReader> m_reader;
    std::vector<std::thread> m_threads; // of the owner's thread
};

/// Loads one element of a storage by its uuid and holds it. One thread, that of the caller of load() apart.
class FRAMEWORK_EXPORT EntryMonitor : public QObject
{
    Q_OBJECT
public:
    enum class LoadStatus { NotLoaded, Loaded, Missing, Damaged };
    Q_ENUM(LoadStatus)

    EntryMonitor(const QString &storageIdentifier, const QString &uuid, QObject *parent = nullptr);

    /// True when the element is there.
    bool load();
    LoadStatus getLoadStatus() const { return m_status; }
    QString getUuid() const { return m_uuid; }
    /// Null until it is loaded.
    std::shared_ptr<QVariant> getEntry() const { return m_entry; }
    /// What it is filed under; of a loaded element.
    const EntryKind &getKind() const { return m_kind; }

signals:
    void loadStatusChanged(FrameworkCore::AppData::Storage::EntryMonitor::LoadStatus status);

private:
    const QString m_storageIdentifier;
    const QString m_uuid;
    LoadStatus m_status = LoadStatus::NotLoaded;
    EntryKind m_kind;
    std::shared_ptr<QVariant> m_entry;
};

} // namespace FrameworkCore::AppData::Storage
