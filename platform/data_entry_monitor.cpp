#include "platform/data_entry_monitor.h"

#include "platform/data_store.h"

#include <mutex>

namespace Utilities
{

struct DataEntryMonitor::Private
{
    Private(const QString &entryKind, const std::shared_ptr<DataStore> &entryStore)
        : kind(entryKind), store(entryStore ? entryStore : GetAppDataStore())
    {}

    const QString kind;
    const std::shared_ptr<DataStore> store;
    mutable std::mutex mutex;
    QString name;
    // The look-up is repeated only when entries have come or gone.
    quint64 generation = 0;
    std::shared_ptr<DataEntryInterface> entry;
};

DataEntryMonitor::DataEntryMonitor(const QString &kind, const std::shared_ptr<DataStore> &store)
    : d(std::make_unique<Private>(kind, store))
{}

DataEntryMonitor::~DataEntryMonitor() = default;

QString DataEntryMonitor::getKind() const
{
    return d->kind;
}

QString DataEntryMonitor::getEntryName() const
{
    const std::lock_guard guard(d->mutex);
    return d->name;
}

void DataEntryMonitor::setEntryName(const QString &name)
{
    const std::lock_guard guard(d->mutex);
    d->name = name;
    d->generation = 0;
}

std::shared_ptr<DataEntryInterface> DataEntryMonitor::getEntry() const
{
    const std::lock_guard guard(d->mutex);
    if (d->name.isEmpty())
        return nullptr;
    // Read before the look-up: an entry that appears in between is found at the next call.
    const quint64 generation = d->store->getGeneration();
    if (generation != d->generation) {
        d->entry = d->store->findEntry(d->kind, d->name);
        d->generation = generation;
    }
    return d->entry;
}

} // namespace Utilities
