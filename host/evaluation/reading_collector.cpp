#include "host/evaluation/reading_collector.h"

#include "platform/data_store.h"

#include <algorithm>
#include <iterator>
#include <tuple>

namespace NoxHost
{

ReadingCollector::ReadingCollector(const std::shared_ptr<Utilities::DataStore> &store)
{
    m_subscription = store->observe([this](const Utilities::DataEntryInterface &entry, quint64 index,
                                           const QVariant &value) { collect(entry, index, value); });
}

void ReadingCollector::addChannel(const QString &entryName, int channel)
{
    const std::lock_guard guard(m_mutex);
    m_channels[entryName] = channel;
}

void ReadingCollector::collect(const Utilities::DataEntryInterface &entry, quint64 index, const QVariant &value)
{
    const QString name = entry.getName();
    Reading reading{index, 0, entry.getKind(), CommonNOX::DataEntryFromVariant(value)};
    const std::lock_guard guard(m_mutex);
    const auto channel = m_channels.find(name);
    if (channel == m_channels.end() || !reading.record)
        return;
    reading.channel = channel->second;
    m_arrived.push_back(std::move(reading));
}

std::vector<Reading> ReadingCollector::takeUpTo(quint64 lastPeriod)
{
    {
        const std::lock_guard guard(m_mutex);
        std::move(m_arrived.begin(), m_arrived.end(), std::back_inserter(m_waiting));
        m_arrived.clear();
    }
    const auto later = std::stable_partition(m_waiting.begin(), m_waiting.end(), [lastPeriod](const Reading &r) {
        return r.channel < 0 || r.period <= lastPeriod;
    });
    std::vector<Reading> taken(std::make_move_iterator(m_waiting.begin()), std::make_move_iterator(later));
    m_waiting.erase(m_waiting.begin(), later);
    std::sort(taken.begin(), taken.end(), [](const Reading &a, const Reading &b) {
        return std::tie(a.period, a.channel, a.processor) < std::tie(b.period, b.channel, b.processor);
    });
    return taken;
}

} // namespace NoxHost
