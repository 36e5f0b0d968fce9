#include "platform/data_store.h"

#include <algorithm>
#include <deque>
#include <map>
#include <mutex>

namespace Utilities
{

DataEntryInterface::~DataEntryInterface() = default;

struct DataStore::State
{
    using Key = std::pair<QString, QString>;

    std::atomic<std::size_t> retention;
    std::atomic<quint64> generation{1};
    Shared::CallBackList<std::reference_wrapper<const DataEntryInterface>, quint64, QVariant> observers;
    mutable std::mutex mutex;
    std::map<Key, std::shared_ptr<DataEntryInterface>> entries;
};

namespace
{

class StoredEntry final : public DataEntryInterface
{
public:
    StoredEntry(QString kind, QString name, std::size_t retention, std::weak_ptr<DataStore::State> store)
        : m_kind(std::move(kind)), m_name(std::move(name)), m_retention(retention), m_store(std::move(store))
    {}

    QString getKind() const override { return m_kind; }
    QString getName() const override { return m_name; }

    bool setValue(quint64 index, const QVariant &value) override
    {
        const auto store = m_store.lock();
        if (!value.isValid() || !store)
            return false;
        insert(index, value);
        store->observers.call(*this, index, value);
        trim(m_retention ? m_retention : store->retention.load());
        return true;
    }

    QVariant getValue(quint64 index) const override
    {
        const std::lock_guard guard(m_mutex);
        const auto place = lowerBound(index);
        return place != m_values.end() && place->first == index ? place->second : QVariant();
    }

    bool getLastValue(quint64 &index, QVariant &value) const override
    {
        const std::lock_guard guard(m_mutex);
        if (m_values.empty())
            return false;
        std::tie(index, value) = m_values.back();
        return true;
    }

    std::vector<std::pair<quint64, QVariant>> getValues(quint64 first, quint64 last) const override
    {
        const std::lock_guard guard(m_mutex);
        std::vector<std::pair<quint64, QVariant>> result;
        for (auto place = lowerBound(first); place != m_values.end() && place->first <= last; ++place)
            result.push_back(*place);
        return result;
    }

    std::size_t getCount() const override
    {
        const std::lock_guard guard(m_mutex);
        return m_values.size();
    }

private:
    using Values = std::deque<std::pair<quint64, QVariant>>;

    template <class Deque>
    static auto lowerBoundOf(Deque &values, quint64 index)
    {
        return std::lower_bound(values.begin(), values.end(), index,
                                [](const auto &value, quint64 wanted) { return value.first < wanted; });
    }
    Values::const_iterator lowerBound(quint64 index) const { return lowerBoundOf(m_values, index); }

    void insert(quint64 index, const QVariant &value)
    {
        const std::lock_guard guard(m_mutex);
        if (m_values.empty() || m_values.back().first < index) {
            m_values.emplace_back(index, value);
        } else {
            const auto place = lowerBoundOf(m_values, index);
            if (place->first == index)
                place->second = value;
            else
                m_values.insert(place, {index, value});
        }
    }

    void trim(std::size_t retention)
    {
        const std::lock_guard guard(m_mutex);
        while (m_values.size() > retention)
            m_values.pop_front();
    }

    const QString m_kind;
    const QString m_name;
    const std::size_t m_retention; // 0: the store's
    const std::weak_ptr<DataStore::State> m_store;
    mutable std::mutex m_mutex;
    Values m_values;
};

} // namespace

DataStore::DataStore(std::size_t retention) : d(std::make_shared<State>())
{
    setRetention(retention);
}

DataStore::~DataStore() = default;

std::shared_ptr<DataEntryInterface> DataStore::createEntry(const QString &kind, const QString &name,
                                                           std::size_t retention)
{
    const std::lock_guard guard(d->mutex);
    auto &entry = d->entries[{kind, name}];
    if (!entry) {
        entry = std::make_shared<StoredEntry>(kind, name, retention, d);
        ++d->generation;
    }
    return entry;
}

std::shared_ptr<DataEntryInterface> DataStore::findEntry(const QString &kind, const QString &name) const
{
    const std::lock_guard guard(d->mutex);
    const auto found = d->entries.find({kind, name});
    return found == d->entries.end() ? nullptr : found->second;
}

bool DataStore::removeEntry(const QString &kind, const QString &name)
{
    const std::lock_guard guard(d->mutex);
    if (d->entries.erase({kind, name}) == 0)
        return false;
    ++d->generation;
    return true;
}

void DataStore::clear()
{
    const std::lock_guard guard(d->mutex);
    d->entries.clear();
    ++d->generation;
}

void DataStore::setRetention(std::size_t values)
{
    d->retention = std::max<std::size_t>(values, 1);
}

std::size_t DataStore::getRetention() const
{
    return d->retention;
}

Shared::Subscription DataStore::observe(Observer observer)
{
    return d->observers.subscribe(std::move(observer));
}

quint64 DataStore::getGeneration() const
{
    return d->generation;
}

namespace
{

struct InstalledStore
{
    std::mutex mutex;
    std::shared_ptr<DataStore> store = std::make_shared<DataStore>();
};

InstalledStore &installedStore()
{
    static InstalledStore instance;
    return instance;
}

} // namespace

std::shared_ptr<DataStore> GetAppDataStore()
{
    const std::lock_guard guard(installedStore().mutex);
    return installedStore().store;
}

void InstallAppDataStore(const std::shared_ptr<DataStore> &store)
{
    auto next = store ? store : std::make_shared<DataStore>();
    const std::lock_guard guard(installedStore().mutex);
    next.swap(installedStore().store);
}

} // namespace Utilities
