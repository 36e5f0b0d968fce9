#pragma once

#include "nox_export.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace CommonNOX::Connections
{

/// Shuts a socket down when whoever uses it makes no progress, so that a call which waits on it returns.
///
/// A frozen peer leaves calls waiting that have no time limit of their own. The watchdog has a thread of its own, which
/// its destructor joins, and its own handles of the sockets. `note` and `interrupt` may be called from any thread, the
/// others by the user of the socket.
class NOX_EXPORT SshWatchdog
{
public:
    SshWatchdog();
    SshWatchdog(const SshWatchdog &) = delete;
    SshWatchdog &operator=(const SshWatchdog &) = delete;
    ~SshWatchdog();

    /// Watches this socket until the next call; -1 for none. Forgets what happened to the socket before.
    void setSocket(int socket);
    /// Shuts this one down as well, from now on until the next setSocket().
    void addSocket(int socket);
    /// From now on progress is expected each `limit`; none is expected after `rest`.
    void expect(std::chrono::milliseconds limit);
    void rest();

    /// There was progress.
    void note();
    /// Shuts down after `grace` unless the work rests by then.
    void interrupt(std::chrono::milliseconds grace);

    /// Whether the socket was shut down for want of progress.
    bool hasFired() const { return m_hasFired.load(); }

private:
    using Clock = std::chrono::steady_clock;

    void run();
    void watch(int socket);
    Clock::time_point deadline() const;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<int> m_sockets;
    bool m_isExpecting = false;
    bool m_isEnding = false;
    Clock::duration m_limit{};
    Clock::time_point m_interruption = Clock::time_point::max();
    std::atomic<Clock::rep> m_lastProgress{0};
    std::atomic<bool> m_hasFired{false};
    std::thread m_thread;
};

} // namespace CommonNOX::Connections
