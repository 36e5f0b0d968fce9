#pragma once

#include "framework_export.h"

#include <QString>

#include <memory>

namespace Utilities
{

class DataEntryInterface;
class DataStore;

/// Follows one entry of the data store, which may appear and vanish at any time. Any thread.
class FRAMEWORK_EXPORT DataEntryMonitor
{
public:
    /// Follows an entry of this kind in the given store, or in the application's store of this moment.
    explicit DataEntryMonitor(const QString &kind, const std::shared_ptr<DataStore> &store = {});
    DataEntryMonitor(const DataEntryMonitor &) = delete;
    DataEntryMonitor &operator=(const DataEntryMonitor &) = delete;
    ~DataEntryMonitor();

    QString getKind() const;
    QString getEntryName() const;
    /// The name of the entry to follow; until it is set, nothing is followed.
    void setEntryName(const QString &name);

    /// The entry as the store holds it now, or nothing.
    std::shared_ptr<DataEntryInterface> getEntry() const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace Utilities
