#pragma once

#include "platform/interval.h"
#include "recording/replay/block_reader.h"
#include "recording/replay/channel_time_navigation.h"
#include "recording/replay/replay_pacer.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace CommonNOX::Entries::Results::Space2D
{
class PeriodV2;
} // namespace CommonNOX::Entries::Results::Space2D

namespace CommonNOX::Importer
{

/// A channel's place on its time line: the number of the element that is handed out next. Any thread.
class ChannelTimePosition
{
public:
    unsigned int get() const { return m_position; }
    void set(unsigned int position) { m_position = position; }

private:
    std::atomic<unsigned int> m_position = 0;
};

/// The part of the time line that is replayed, by numbers of elements, both ends included.
struct ChannelReplaySpanStatus
{
    Shared::Interval<unsigned int> span{1, 0}; ///< empty for a channel without periods
    bool isFinished = false;                   ///< the end was reached, and that was said
};

/// The replay state of one channel: what its time line is, which part of it is replayed how fast, and the period at the
/// latest position. Any thread; the members are guarded by `mutex`.
struct ChannelReplayStatus
{
    ChannelReplayStatus(int channelIndex, const std::shared_ptr<const ChannelTimeNavigation> &timeNavigation)
        : channel(channelIndex), navigation(timeNavigation)
    {}

    const int channel;
    const std::shared_ptr<const ChannelTimeNavigation> navigation;

    mutable std::mutex mutex;
    /// 2.0 is twice as fast; zero or negative as fast as possible.
    double speedFactor = 1.0;
    ChannelReplaySpanStatus span;
    ReplayPacer pacer;
    /// Whether the initial Qiec of the present position has been told.
    bool isQiecTold = false;
    /// The row of the latest scope that was handed out; 0 for none.
    qint64 scopeRow = 0;

    /// The periods of the latest block that have not been handed out, empty where they have; by offset.
    qint64 blockRow = 0;
    std::vector<std::shared_ptr<Entries::Results::Space2D::PeriodV2>> periods;
    /// Of the latest position; null where it is lost.
    TimeRecord element;
    std::shared_ptr<Entries::Results::Space2D::PeriodV2> period;
};

} // namespace CommonNOX::Importer
