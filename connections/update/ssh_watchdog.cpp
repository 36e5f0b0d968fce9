#include "connections/update/ssh_watchdog.h"

#include <algorithm>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

namespace CommonNOX::Connections
{

SshWatchdog::SshWatchdog() : m_thread([this] { run(); }) {}

SshWatchdog::~SshWatchdog()
{
    {
        const std::lock_guard guard(m_mutex);
        m_isEnding = true;
    }
    m_changed.notify_all();
    m_thread.join();
    for (const int socket : m_sockets)
        close(socket);
}

void SshWatchdog::setSocket(int socket)
{
    const std::lock_guard guard(m_mutex);
    for (const int old : m_sockets)
        close(old);
    m_sockets.clear();
    watch(socket);
    m_isExpecting = false;
    m_interruption = Clock::time_point::max();
    m_hasFired = false;
}

void SshWatchdog::addSocket(int socket)
{
    const std::lock_guard guard(m_mutex);
    watch(socket);
}

void SshWatchdog::watch(int socket)
{
    // A duplicate, as the number of a closed socket soon means something else.
    if (const int own = socket >= 0 ? dup(socket) : -1; own >= 0)
        m_sockets.push_back(own);
}

void SshWatchdog::expect(std::chrono::milliseconds limit)
{
    {
        const std::lock_guard guard(m_mutex);
        note();
        m_limit = limit;
        m_isExpecting = true;
    }
    m_changed.notify_all();
}

void SshWatchdog::rest()
{
    const std::lock_guard guard(m_mutex);
    m_isExpecting = false;
}

void SshWatchdog::note()
{
    m_lastProgress.store(Clock::now().time_since_epoch().count(), std::memory_order_relaxed);
}

void SshWatchdog::interrupt(std::chrono::milliseconds grace)
{
    {
        const std::lock_guard guard(m_mutex);
        m_interruption = std::min(m_interruption, Clock::now() + grace);
    }
    m_changed.notify_all();
}

SshWatchdog::Clock::time_point SshWatchdog::deadline() const
{
    const Clock::time_point progress{Clock::duration(m_lastProgress.load(std::memory_order_relaxed))};
    return std::min(progress + m_limit, m_interruption);
}

void SshWatchdog::run()
{
    pthread_setname_np(pthread_self(), "ssh watchdog");
    std::unique_lock lock(m_mutex);
    while (!m_isEnding) {
        if (!m_isExpecting) {
            m_changed.wait(lock);
        } else if (const Clock::time_point due = deadline(); Clock::now() < due) {
            m_changed.wait_until(lock, due);
        } else {
            // An interruption is the wish of somebody, no fault of the peer.
            m_hasFired = due != m_interruption;
            m_isExpecting = false;
            for (const int socket : m_sockets)
                shutdown(socket, SHUT_RDWR);
        }
    }
}

} // namespace CommonNOX::Connections
