#include "host/replay/replay_feed.h"

#include <pthread.h>

#include <iterator>

namespace NoxHost
{

using namespace CommonNOX::Importer;

ReplayFeed::ReplayFeed(std::unique_ptr<ReplayWalk> walk) : m_walk(std::move(walk))
{
    m_thread = std::thread([this] { read(); });
    pthread_setname_np(m_thread.native_handle(), "replay feed");
}

ReplayFeed::~ReplayFeed()
{
    {
        const std::lock_guard guard(m_mutex);
        m_isStopped = true;
    }
    m_hasRoom.notify_one();
    m_thread.join();
}

void ReplayFeed::read()
{
    std::deque<Entry> piece;
    for (bool isAtEnd = false; !isAtEnd;) {
        while (!isAtEnd && piece.size() < ItemsOfPiece) {
            Entry entry;
            isAtEnd = !m_walk->next(entry.item);
            entry.done = m_walk->getDone();
            if (!isAtEnd)
                piece.push_back(std::move(entry));
        }
        std::unique_lock guard(m_mutex);
        m_hasRoom.wait(guard, [this] { return m_isStopped || m_items.size() < MostItems; });
        if (m_isStopped)
            return;
        std::move(piece.begin(), piece.end(), std::back_inserter(m_items));
        m_isAtEnd = isAtEnd;
        m_losses = m_walk->getLosses();
        piece.clear();
    }
}

ReplayFeed::Outcome ReplayFeed::take(RecordedItem &item)
{
    if (m_taken.empty()) {
        const std::lock_guard guard(m_mutex);
        m_taken.swap(m_items);
        if (m_taken.empty())
            return m_isAtEnd ? Outcome::End : Outcome::NotYet;
        m_hasRoom.notify_one();
    }
    item = std::move(m_taken.front().item);
    m_done = m_taken.front().done;
    m_taken.pop_front();
    return Outcome::Item;
}

ReplayLosses ReplayFeed::getLosses()
{
    const std::lock_guard guard(m_mutex);
    return m_losses;
}

} // namespace NoxHost
