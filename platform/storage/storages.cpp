#include "platform/storage/storages.h"

namespace FrameworkCore::AppData::Storage
{

Storages &Storages::getInstance()
{
    static Storages instance;
    return instance;
}

std::shared_ptr<StorageWriter> Storages::create(const QString &identifier, const QUrl &url,
                                                const QMap<QString, QString> &facts, QString &error)
{
    const std::lock_guard guard(m_mutex);
    if (!m_writers.value(identifier).expired()) {
        error = QStringLiteral("it is being written already");
        return nullptr;
    }
    std::shared_ptr<StorageWriter> writer = StorageWriter::Create(url, ElementUuids::Create(), facts, error);
    if (writer)
        m_writers.insert(identifier, writer);
    return writer;
}

void Storages::addReader(const QString &identifier, const std::shared_ptr<StorageReader> &reader)
{
    const std::lock_guard guard(m_mutex);
    m_readers.insert(identifier, reader);
}

std::shared_ptr<StorageReader> Storages::findReader(const QString &identifier) const
{
    const std::lock_guard guard(m_mutex);
    return m_readers.value(identifier);
}

void Storages::removeReader(const QString &identifier)
{
    const std::lock_guard guard(m_mutex);
    m_readers.remove(identifier);
}

} // namespace FrameworkCore::AppData::Storage
