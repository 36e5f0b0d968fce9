#include "connections/update/ssh_socket_p.h"

#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <mutex>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace CommonNOX::Connections
{

namespace
{

using Clock = std::chrono::steady_clock;

/// How often to look for a cancellation.
constexpr int SliceMs = 50;

QString systemReason(int code)
{
    return QString::fromLocal8Bit(std::strerror(code));
}

/// 0 when connected, else the system's reason; ECANCELED when it was cancelled.
int waitUntilConnected(int socket, Clock::time_point deadline, const std::atomic<bool> &isCancelled)
{
    while (!isCancelled.load()) {
        if (Clock::now() >= deadline)
            return ETIMEDOUT;
        pollfd waiting{socket, POLLOUT, 0};
        const int ready = poll(&waiting, 1, SliceMs);
        if (ready < 0 && errno != EINTR)
            return errno;
        if (ready <= 0)
            continue;
        int reason = 0;
        socklen_t size = sizeof(reason);
        getsockopt(socket, SOL_SOCKET, SO_ERROR, &reason, &size);
        return reason;
    }
    return ECANCELED;
}

/// What a look-up that goes on is told by; no code of the system's.
constexpr int StillLooking = std::numeric_limits<int>::max();

/// Looks a name up in a thread of its own, which the system's way to do so may keep for minutes: whoever waits need
/// not wait for that.
class LookUp : public std::enable_shared_from_this<LookUp>
{
public:
    LookUp() = default;
    LookUp(const LookUp &) = delete;
    LookUp &operator=(const LookUp &) = delete;
    ~LookUp()
    {
        if (m_found)
            freeaddrinfo(m_found);
    }

    void start(const QByteArray &host, const QByteArray &port)
    {
        std::thread([self = shared_from_this(), host, port] {
            addrinfo hints{};
            hints.ai_socktype = SOCK_STREAM;
            hints.ai_flags = AI_NUMERICSERV;
            addrinfo *found = nullptr;
            const int status = getaddrinfo(host.constData(), port.constData(), &hints, &found);
            const std::lock_guard guard(self->m_mutex);
            self->m_found = found;
            self->m_status = status;
            self->m_changed.notify_all();
        }).detach();
    }

    /// 0, the system's code, or StillLooking.
    int wait(Clock::time_point deadline, const std::atomic<bool> &isCancelled)
    {
        std::unique_lock guard(m_mutex);
        while (m_status == StillLooking && !isCancelled.load() && Clock::now() < deadline)
            m_changed.wait_for(guard, std::chrono::milliseconds(SliceMs));
        return m_status;
    }

    /// After a wait that gave 0.
    const addrinfo *getFirst() const { return m_found; }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    addrinfo *m_found = nullptr;
    int m_status = StillLooking;
};

int connectTo(const addrinfo &address, Clock::time_point deadline, const std::atomic<bool> &isCancelled, int &reason)
{
    const int socket = ::socket(address.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    reason = socket < 0 ? errno : 0;
    if (socket < 0)
        return -1;
    if (connect(socket, address.ai_addr, address.ai_addrlen) != 0)
        reason = errno == EINPROGRESS ? waitUntilConnected(socket, deadline, isCancelled) : errno;
    if (reason != 0) {
        close(socket);
        return -1;
    }
    fcntl(socket, F_SETFL, fcntl(socket, F_GETFL) & ~O_NONBLOCK);
    // Requests of a few bytes would wait for the answer to those before.
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    return socket;
}

} // namespace

int ConnectSocket(const QString &host, quint16 port, Clock::time_point deadline, const std::atomic<bool> &isCancelled,
                  QString &error)
{
    const auto lookUp = std::make_shared<LookUp>();
    lookUp->start(host.toUtf8(), QByteArray::number(port));
    const int status = lookUp->wait(deadline, isCancelled);
    if (status != 0) {
        error = status == StillLooking ? QStringLiteral("its name is not found in time")
                                       : QString::fromLocal8Bit(gai_strerror(status));
        return -1;
    }
    int reason = 0;
    for (const addrinfo *address = lookUp->getFirst(); address; address = address->ai_next) {
        const int socket = connectTo(*address, deadline, isCancelled, reason);
        if (socket >= 0)
            return socket;
    }
    error = systemReason(reason);
    return -1;
}

int ConnectAgent()
{
    const QByteArray path = qgetenv("SSH_AUTH_SOCK");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.isEmpty() || std::size_t(path.size()) >= sizeof(address.sun_path))
        return -1;
    std::memcpy(address.sun_path, path.constData(), std::size_t(path.size()));
    // One that takes no more calls would keep a blocking socket waiting.
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (socket >= 0 && connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
        close(socket);
        return -1;
    }
    if (socket >= 0)
        fcntl(socket, F_SETFL, fcntl(socket, F_GETFL) & ~O_NONBLOCK);
    return socket;
}

} // namespace CommonNOX::Connections
