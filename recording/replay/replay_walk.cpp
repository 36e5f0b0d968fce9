#include "recording/replay/replay_walk.h"

#include "entries/catalogue/recording.h"
#include "entries/catalogue/results_pd.h"
#include "entries/property_keys.h"
#include "platform/storage/element_loader.h"
#include "recording/replay_file.h"

#include <algorithm>
#include <limits>

namespace CommonNOX::Importer
{

using namespace FrameworkCore::AppData::Storage;
using namespace Entries::Recording;
using namespace Entries::Results::Space2D;
using namespace PD::Recording;
namespace Keys = Entries::Keys;

ReplayWalk::ReplayWalk(const PdReplayFileLoader &loader, const ReplaySelection &selection)
    : m_loader(loader), m_reader(loader.getReader())
{
    const std::map<QString, RecordedItem::Kind> types{
        {TypeOf<PeriodBlockV1>(), RecordedItem::Kind::Block},
        {TypeOf<VoltageScopeV1>(), RecordedItem::Kind::Scope},
        {TypeOf<PdReplayActionV1>(), RecordedItem::Kind::Action},
        {TypeOf<PdReplayAnnotationV1>(), RecordedItem::Kind::Annotation},
    };
    m_kinds.emplace_back(std::nullopt, DeviceItself); // there is no kind 0
    for (const EntryKind &kind : m_reader->getKinds()) {
        const auto type = types.find(kind.type);
        const auto channel = ParseClassification(kind.classification);
        const bool isWanted = channel && (*channel == DeviceItself || selection.channels.empty() ||
                                          selection.channels.count(*channel) > 0);
        m_kinds.emplace_back(type != types.end() && isWanted && kind.recordSize == 0 ? std::optional(type->second)
                                                                                     : std::nullopt,
                             channel.value_or(DeviceItself));
    }

    const bool isWhole = !selection.fromSecond && !selection.toSecond;
    m_first = isWhole ? 1 : std::numeric_limits<qint64>::max();
    m_last = isWhole ? m_reader->getLastId() : 0;
    for (const int channel : loader.getChannels()) {
        if (selection.channels.empty() || selection.channels.count(channel) > 0)
            selectPart(*loader.getChannelTimeNavigation(channel), selection);
    }
    m_first = std::min(m_first, m_last + 1);
    m_next = m_first;
    if (!isWhole)
        collectEarlierItems();
}

void ReplayWalk::selectPart(const ChannelTimeNavigation &navigation, const ReplaySelection &selection)
{
    const bool isWhole = !selection.fromSecond && !selection.toSecond;
    const quint64 count = navigation.getCount();
    quint64 first = selection.fromSecond ? navigation.findSecond(*selection.fromSecond) : 0;
    quint64 end = selection.toSecond ? navigation.findSecond(*selection.toSecond) : count;
    // Lost periods at the ends say nothing about where to begin.
    while (first < end && !navigation.find(first))
        ++first;
    while (end > first && !navigation.find(end - 1))
        --end;
    Part &part = m_parts[navigation.getChannel()];
    part.isWhole = isWhole;
    if (first >= end)
        return;
    const TimeRecord begins = *navigation.find(first);
    const TimeRecord ends = *navigation.find(end - 1);
    part.firstIndex = begins.globalIndex;
    part.endIndex = ends.globalIndex + 1;
    m_beginnings[navigation.getChannel()] = {first, begins.globalIndex, begins.qiec};
    m_first = std::min(m_first, qint64(begins.block));
    m_last = std::max(m_last, qint64(ends.block));
}

void ReplayWalk::collectEarlierItems()
{
    quint64 firstIndex = std::numeric_limits<quint64>::max();
    for (const auto &beginning : m_beginnings)
        firstIndex = std::min(firstIndex, beginning.second.index);
    for (std::size_t kind = 1; kind < m_kinds.size(); ++kind) {
        if (m_kinds[kind].first == RecordedItem::Kind::Action) {
            for (const RowPlace &place : m_reader->listRows(int(kind))) {
                if (place.id < m_first)
                    m_earlier.push_back(place.id);
            }
        } else if (m_kinds[kind].first == RecordedItem::Kind::Scope && !m_beginnings.empty()) {
            const RowPlace place = m_reader->findRowAtOrBefore(int(kind), qint64(firstIndex));
            if (place.id != 0 && place.id < m_first)
                m_earlier.push_back(place.id);
        }
    }
    std::sort(m_earlier.begin(), m_earlier.end());
}

double ReplayWalk::getDone() const
{
    return m_last < m_first ? 1.0 : double(m_next - m_first) / double(m_last - m_first + 1);
}

bool ReplayWalk::next(RecordedItem &item)
{
    while (m_nextEarlier < m_earlier.size()) {
        if (read(m_earlier[m_nextEarlier++], item))
            return true;
    }
    while (m_next <= m_last) {
        if (read(m_next++, item) && (item.kind != RecordedItem::Kind::Block || cut(item)))
            return true;
    }
    return false;
}

bool ReplayWalk::read(qint64 row, RecordedItem &item)
{
    std::shared_ptr<QVariant> value;
    const auto outcome = m_reader->look(row, [&](const StoredRow &stored) {
        if (stored.kind <= 0 || std::size_t(stored.kind) >= m_kinds.size() || !m_kinds[std::size_t(stored.kind)].first)
            return;
        item.kind = *m_kinds[std::size_t(stored.kind)].first;
        item.channel = m_kinds[std::size_t(stored.kind)].second;
        item.index = quint64(stored.number);
        value = ParseRow(*m_reader, stored);
    });
    if (outcome == StorageReader::Outcome::Missing)
        ++m_losses.missing;
    else if (outcome != StorageReader::Outcome::Found)
        ++m_losses.damaged;
    item.row = row;
    item.entry = value ? DataEntryFromVariant(*value) : nullptr;
    return item.entry != nullptr;
}

/// Leaves the periods of the selection in a block; false when there are none.
bool ReplayWalk::cut(RecordedItem &item) const
{
    const auto part = m_parts.find(item.channel);
    const auto block = std::dynamic_pointer_cast<const PeriodBlockV1>(item.entry);
    if (part == m_parts.end() || !block)
        return false;
    if (part->second.isWhole)
        return true;
    const QVariantList periods = block->get(Keys::Periods).toList();
    const quint64 end = item.index + quint64(periods.size());
    const quint64 from = std::max(item.index, part->second.firstIndex);
    const quint64 to = std::min(end, part->second.endIndex);
    if (from >= to)
        return false;
    if (from == item.index && to == end)
        return true;
    const auto shorter = std::make_shared<PeriodBlockV1>(*block);
    shorter->set(Keys::Periods, periods.mid(int(from - item.index), int(to - from)));
    item.entry = shorter;
    item.index = from;
    return true;
}

} // namespace CommonNOX::Importer
