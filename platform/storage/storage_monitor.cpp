#include "platform/storage/storage_monitor.h"

#include "platform/storage/element_loader.h"
#include "platform/storage/storages.h"

namespace FrameworkCore::AppData::Storage
{

StorageMonitor::StorageMonitor(const QString &identifier, const QString &path, const QString &cacheFolder,
                               QObject *parent)
    : QObject(parent), m_identifier(identifier), m_path(path), m_cacheFolder(cacheFolder)
{}

StorageMonitor::~StorageMonitor()
{
    cancel();
    for (std::thread &thread : m_threads)
        thread.join();
    if (m_reader && Storages::getInstance().findReader(m_identifier) == m_reader)
        Storages::getInstance().removeReader(m_identifier);
}

bool StorageMonitor::load()
{
    setStatus(LoadStatus::Loading);
    OpenedStorage opened = OpenStorage(
        m_path, m_cacheFolder, [this](double done) { return !m_isCancelled && (!m_receiver || m_receiver(done)); });
    const bool isOpen = opened.reader != nullptr;
    {
        const std::lock_guard guard(m_mutex);
        m_opened = std::move(opened);
        m_reader = std::move(m_opened.reader);
    }
    if (isOpen)
        Storages::getInstance().addReader(m_identifier, m_reader);
    setStatus(isOpen ? LoadStatus::Loaded : LoadStatus::Failed);
    return isOpen;
}

void StorageMonitor::startLoading()
{
    m_threads.emplace_back([this] { load(); });
}

std::shared_ptr<StorageReader> StorageMonitor::getReader() const
{
    const std::lock_guard guard(m_mutex);
    return m_reader;
}

QString StorageMonitor::getError() const
{
    const std::lock_guard guard(m_mutex);
    return m_opened.error;
}

std::optional<RecoveryReport> StorageMonitor::getRecovery() const
{
    const std::lock_guard guard(m_mutex);
    return m_opened.recovery;
}

bool StorageMonitor::wasInterrupted() const
{
    const std::lock_guard guard(m_mutex);
    return m_opened.wasInterrupted;
}

void StorageMonitor::startListing(const QString &type, const QString &category)
{
    m_threads.emplace_back([this, type, category] {
        const auto reader = getReader();
        emit elementsListed(type, category, reader ? ListElements(*reader, type, category) : QStringList());
    });
}

void StorageMonitor::setStatus(LoadStatus status)
{
    m_status = status;
    emit loadStatusChanged(status);
}

EntryMonitor::EntryMonitor(const QString &storageIdentifier, const QString &uuid, QObject *parent)
    : QObject(parent), m_storageIdentifier(storageIdentifier), m_uuid(uuid)
{}

bool EntryMonitor::load()
{
    const auto reader = Storages::getInstance().findReader(m_storageIdentifier);
    LoadedElement element;
    if (reader)
        element = LoadElement(*reader, m_uuid);
    m_kind = element.kind;
    m_entry = element.value;
    m_status = m_entry                                              ? LoadStatus::Loaded
               : element.outcome == StorageReader::Outcome::Damaged ? LoadStatus::Damaged
                                                                    : LoadStatus::Missing;
    emit loadStatusChanged(m_status);
    return m_entry != nullptr;
}

} // namespace FrameworkCore::AppData::Storage
