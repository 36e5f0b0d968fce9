#pragma once

#include "framework_export.h"
#include "platform/call_back_list.h"

#include <QString>
#include <QVariant>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace Utilities
{

/// Values by index under one name. Any thread.
class FRAMEWORK_EXPORT DataEntryInterface
{
public:
    virtual ~DataEntryInterface();

    /// The kind of result, for the library's entries the name of the processor that writes it.
    virtual QString getKind() const = 0;
    virtual QString getName() const = 0;

    /// Stores the value; an index that is there already gets the new value. When more values are held than the
    /// store retains, those of the lowest indices go. False when the value is invalid.
    virtual bool setValue(quint64 index, const QVariant &value) = 0;
    /// Invalid when nothing is held under the index.
    virtual QVariant getValue(quint64 index) const = 0;
    /// The value of the highest index; false when there is none.
    virtual bool getLastValue(quint64 &index, QVariant &value) const = 0;
    /// What is held from `first` to `last`, both included, in order of index.
    virtual std::vector<std::pair<quint64, QVariant>> getValues(quint64 first, quint64 last) const = 0;
    virtual std::size_t getCount() const = 0;
};

/// The application's store of results: entries by kind and name, each bounded by the retention, so that a
/// measurement of weeks keeps constant memory. Any thread.
class FRAMEWORK_EXPORT DataStore
{
public:
    static constexpr std::size_t DefaultRetention = 3000;

    using Observer = std::function<void(const DataEntryInterface &entry, quint64 index, const QVariant &value)>;

    explicit DataStore(std::size_t retention = DefaultRetention);
    DataStore(const DataStore &) = delete;
    DataStore &operator=(const DataStore &) = delete;
    ~DataStore();

    /// The entry of that kind and name, made when there is none. It keeps `retention` values, by default as many as
    /// the store says.
    std::shared_ptr<DataEntryInterface> createEntry(const QString &kind, const QString &name,
                                                    std::size_t retention = 0);
    std::shared_ptr<DataEntryInterface> findEntry(const QString &kind, const QString &name) const;
    /// False when there was none. Whoever holds the entry may go on writing; nobody sees it any more.
    bool removeEntry(const QString &kind, const QString &name);
    void clear();

    /// The number of values that an entry keeps, at least 1. Takes effect at each entry's next write.
    void setRetention(std::size_t values);
    std::size_t getRetention() const;

    /// Calls back for every value written, in the writing thread, before retention may drop it.
    [[nodiscard]] Shared::Subscription observe(Observer observer);

    /// Changes whenever an entry appears or vanishes.
    quint64 getGeneration() const;

    struct State;

private:
    std::shared_ptr<State> d;
};

/// The store of the application: made on first use, replaced by a host that brings its own.
FRAMEWORK_EXPORT std::shared_ptr<DataStore> GetAppDataStore();
/// Monitors made before keep the old store. An empty pointer brings a new empty store.
FRAMEWORK_EXPORT void InstallAppDataStore(const std::shared_ptr<DataStore> &store);

} // namespace Utilities
