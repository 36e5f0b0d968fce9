#pragma once

#include "host/evaluation/reading.h"
#include "platform/call_back_list.h"

#include <map>
#include <mutex>
#include <vector>

namespace Utilities
{
class DataEntryInterface;
class DataStore;
} // namespace Utilities

namespace NoxHost
{

/// Takes every result that processors write, before the store's retention may drop it, and gives them out in order
/// of period, then channel, then processor.
class ReadingCollector
{
public:
    explicit ReadingCollector(const std::shared_ptr<Utilities::DataStore> &store);
    ReadingCollector(const ReadingCollector &) = delete;
    ReadingCollector &operator=(const ReadingCollector &) = delete;

    /// Results under this name of the store belong to the channel, or to the device when that is -1; others are left
    /// alone. Any thread.
    void addChannel(const QString &entryName, int channel);

    /// Takes out, in order, the readings of all periods up to `lastPeriod`, which must be complete, and those of the
    /// device, which count scopes instead. One thread.
    std::vector<Reading> takeUpTo(quint64 lastPeriod);

private:
    void collect(const Utilities::DataEntryInterface &entry, quint64 index, const QVariant &value);

    std::mutex m_mutex;
    std::map<QString, int> m_channels;
    std::vector<Reading> m_arrived;
    std::vector<Reading> m_waiting; // of the taking thread
    // Last, so that nothing arrives while the rest goes.
    Shared::Subscription m_subscription;
};

} // namespace NoxHost
