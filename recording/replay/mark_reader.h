#pragma once

#include "recording/replay/channel_time_navigation.h"

#include <vector>

namespace CommonNOX::Importer
{

/// What the file-wide list ties to places on a channel's time line; of the device what stands on this one. Where runs
/// of the list are damaged, entries that nothing else names are placed before the block that was stored behind them.
/// Nothing when the list has another form than this version's.
std::optional<std::vector<ChannelTimeNavigation::Mark>>
ReadMarks(const FrameworkCore::AppData::Storage::StorageReader &reader, int channel,
          const ChannelTimeNavigation &navigation);

} // namespace CommonNOX::Importer
