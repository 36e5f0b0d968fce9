#pragma once

#include "recording/replay/replay_walk.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

namespace NoxHost
{

/// Reads a recording ahead, on a thread of its own. One thread takes.
class ReplayFeed
{
public:
    explicit ReplayFeed(std::unique_ptr<CommonNOX::Importer::ReplayWalk> walk);
    ReplayFeed(const ReplayFeed &) = delete;
    ReplayFeed &operator=(const ReplayFeed &) = delete;
    /// Ends the reading.
    ~ReplayFeed();

    enum class Outcome { Item, NotYet, End };
    /// Never waits.
    Outcome take(CommonNOX::Importer::RecordedItem &item);

    /// The part that has been taken, from 0 to 1. Any thread.
    double getDone() const { return m_done; }
    /// What could not be read so far.
    CommonNOX::Importer::ReplayLosses getLosses();

private:
    struct Entry
    {
        CommonNOX::Importer::RecordedItem item;
        double done;
    };
    void read();

    static constexpr std::size_t MostItems = 512;
    static constexpr std::size_t ItemsOfPiece = 16;

    const std::unique_ptr<CommonNOX::Importer::ReplayWalk> m_walk; // of the thread
    std::mutex m_mutex;                                            // guards the five below
    std::condition_variable m_hasRoom;
    std::deque<Entry> m_items;
    bool m_isAtEnd = false;
    bool m_isStopped = false;
    CommonNOX::Importer::ReplayLosses m_losses;
    std::deque<Entry> m_taken; // of the taking thread
    std::atomic<double> m_done = 0.0;
    std::thread m_thread;
};

} // namespace NoxHost
