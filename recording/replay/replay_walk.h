#pragma once

#include "entries/data_entry.h"
#include "nox_export.h"
#include "recording/replay/block_reader.h"
#include "recording/replay/pd_replay_file_loader.h"

#include <map>
#include <optional>
#include <set>
#include <vector>

namespace CommonNOX::Importer
{

/// Which part of a recording is wanted.
struct ReplaySelection
{
    /// In seconds of the recording, half-open; a period belongs to the second in which it starts.
    std::optional<quint32> fromSecond;
    std::optional<quint32> toSecond;
    /// Empty for all channels.
    std::set<int> channels;
};

/// One thing that a device handed to the recorder.
struct RecordedItem
{
    enum class Kind { Block, Scope, Action, Annotation };
    Kind kind{};
    int channel = -1; ///< -1 for the device
    /// Of a block the index of its first period, of a scope that of the first period for which it holds.
    quint64 index = 0;
    qint64 row = 0;
    DataEntryConstPtr entry;
};

/// Rows of a recording that a reader went past.
struct ReplayLosses
{
    quint64 damaged = 0;
    quint64 missing = 0; ///< of a recovered recording, or one that was cut short
};

/// Everything of a recording in the order in which it came: settings before the blocks that they affect, scopes before
/// the blocks of their periods.
///
/// Of a part of a recording come first the settings that were made before it, and the scope in force; blocks at its
/// ends are cut. One thread.
class NOX_EXPORT ReplayWalk
{
public:
    /// The loader has built its index, and outlives the walk.
    ReplayWalk(const PdReplayFileLoader &loader, const ReplaySelection &selection);

    /// Where a channel begins: its first period's index, and the reading of Qiec before it.
    struct Beginning
    {
        quint64 element = 0;
        quint64 index = 0;
        double qiec = 0.0;
    };
    /// Of the channels that have periods in the selection.
    const std::map<int, Beginning> &getBeginnings() const { return m_beginnings; }

    /// The next item; false at the end.
    bool next(RecordedItem &item);
    /// The part of the selection that has been walked, from 0 to 1.
    double getDone() const;
    /// What of it could not be read so far.
    const ReplayLosses &getLosses() const { return m_losses; }

private:
    struct Part
    {
        quint64 firstIndex = 0;
        quint64 endIndex = 0;
        bool isWhole = false; ///< also of blocks that no time element knows
    };
    void selectPart(const ChannelTimeNavigation &navigation, const ReplaySelection &selection);
    void collectEarlierItems();
    std::optional<RecordedItem::Kind> kindOf(int kind) const;
    bool read(qint64 row, RecordedItem &item);
    bool cut(RecordedItem &item) const;

    const PdReplayFileLoader &m_loader;
    const std::shared_ptr<const StorageReader> m_reader;
    std::map<int, Part> m_parts; // by channel
    std::map<int, Beginning> m_beginnings;
    std::vector<std::pair<std::optional<RecordedItem::Kind>, int>> m_kinds; // with channel, by number of the kind
    std::vector<qint64> m_earlier; // rows of what holds from before the first row
    std::size_t m_nextEarlier = 0;
    qint64 m_first = 1;
    qint64 m_next = 1;
    qint64 m_last = 0;
    ReplayLosses m_losses;
};

} // namespace CommonNOX::Importer
