#pragma once

#include <atomic>
#include <mutex>
#include <utility>

namespace Shared
{

/// A value that other threads set and one thread takes: guarded by a lock, announced by a flag. Only the latest
/// value counts.
template <class T>
class PendingValue
{
public:
    void set(T value)
    {
        const std::lock_guard guard(m_mutex);
        m_value = std::move(value);
        m_pending.store(true, std::memory_order_release);
    }

    /// Moves a pending value into `target`; false when none is pending. The lock is taken only when one is.
    bool take(T &target)
    {
        if (!m_pending.load(std::memory_order_acquire))
            return false;
        const std::lock_guard guard(m_mutex);
        target = std::exchange(m_value, T());
        m_pending.store(false, std::memory_order_relaxed);
        return true;
    }

    bool isPending() const { return m_pending.load(std::memory_order_acquire); }

private:
    std::mutex m_mutex;
    T m_value{};
    std::atomic<bool> m_pending = false;
};

} // namespace Shared
