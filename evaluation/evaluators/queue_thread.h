#pragma once

#include "platform/pending_value.h"

#include <QThread>

#include <atomic>
#include <chrono>
#include <mutex>
#include <utility>
#include <vector>

namespace CommonNOX::Evaluation
{

/// A thread that empties a queue in whole batches and sleeps while there is nothing.
///
/// Other threads append and ask it to start and to stop; whoever owns it joins it. Producers never wait: the queue
/// has no bound and its lock is held for an append or a swap. The queue and the hand-shakes rest on the standard
/// library's primitives, whose ordering the thread sanitizer understands.
template <class Item>
class QueueThread : public QThread
{
public:
    QueueThread(const QueueThread &) = delete;
    QueueThread &operator=(const QueueThread &) = delete;

    /// Waits until the thread has left. Any thread but this one.
    void waitForEnd()
    {
        wait();
        // What the thread did is seen after this: its last act was to release this flag.
        m_left.load(std::memory_order_acquire);
    }

protected:
    using Batch = std::vector<Item>;

    QueueThread(std::chrono::microseconds idlePause, QObject *parent) : QThread(parent), m_idlePause(idlePause) {}

    /// Starts the thread unless it runs; one that is leaving is joined first. `beforeStart` runs only before a start,
    /// when no thread of this object is running. Any thread but this one.
    template <class BeforeStart>
    void requestStart(BeforeStart beforeStart)
    {
        const std::lock_guard control(m_controlMutex);
        {
            const std::lock_guard guard(m_mutex);
            m_request.set(true);
            if (m_open)
                return;
        }
        waitForEnd();
        beforeStart();
        {
            const std::lock_guard guard(m_mutex);
            m_open = true;
        }
        start(QThread::InheritPriority);
    }

    /// The thread leaves at the end of its pass. Any thread.
    void requestStop()
    {
        const std::lock_guard guard(m_mutex);
        m_request.set(false);
    }

    /// What a concrete class does first in its destructor, while its hooks still exist.
    void shutDown()
    {
        requestStop();
        waitForEnd();
    }

    /// Whether the thread takes items: from its start until it has decided to leave.
    bool isOpen() const
    {
        const std::lock_guard guard(m_mutex);
        return m_open;
    }

    enum class WhenClosed { Refuse, Keep };
    bool append(Item item, WhenClosed whenClosed)
    {
        const std::lock_guard guard(m_mutex);
        if (!m_open && whenClosed == WhenClosed::Refuse)
            return false;
        m_queue.push_back(std::move(item));
        m_count.store(m_queue.size(), std::memory_order_release);
        return true;
    }

    /// Takes settings that other threads have left, once a pass and before its batch is processed: a setting that was
    /// made before an item was appended holds for this item. No lock is held.
    virtual void takeSettings() {}
    /// Evaluates a batch in order. No lock is held.
    virtual void process(Batch &batch) = 0;
    /// The thread's last act; `remaining` was still queued and is dropped.
    virtual void leave(Batch &remaining) { Q_UNUSED(remaining) }

    void run() override
    {
        bool running = false;
        m_request.take(running);
        Batch batch;
        while (running || !close(batch)) {
            if (!running) {
                m_request.take(running);
                continue;
            }
            const bool idle = m_count.load(std::memory_order_acquire) == 0;
            if (!idle)
                swapQueue(batch);
            takeSettings();
            if (idle)
                QThread::usleep(static_cast<unsigned long>(m_idlePause.count()));
            else
                process(batch);
            batch.clear();
            m_request.take(running);
        }
        leave(batch);
        batch.clear();
        m_left.store(true, std::memory_order_release);
    }

private:
    void swapQueue(Batch &batch)
    {
        const std::lock_guard guard(m_mutex);
        m_queue.swap(batch);
        m_count.store(0, std::memory_order_release);
    }

    /// Decides to leave, unless a new start was requested meanwhile.
    bool close(Batch &remaining)
    {
        const std::lock_guard guard(m_mutex);
        if (m_request.isPending())
            return false;
        m_open = false;
        m_queue.swap(remaining);
        m_count.store(0, std::memory_order_release);
        return true;
    }

    const std::chrono::microseconds m_idlePause;
    std::mutex m_controlMutex; // one start at a time
    mutable std::mutex m_mutex;
    Batch m_queue;
    std::atomic<std::size_t> m_count = 0;
    bool m_open = false;
    Shared::PendingValue<bool> m_request;
    std::atomic<bool> m_left = true;
};

} // namespace CommonNOX::Evaluation
