#include "connections/update/ssh_socket_p.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
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

int ConnectSocket(const QString &host, quint16 port, std::chrono::milliseconds limit,
                  const std::atomic<bool> &isCancelled, QString &error)
{
    const Clock::time_point deadline = Clock::now() + limit;
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo *found = nullptr;
    const int status = getaddrinfo(host.toUtf8().constData(), QByteArray::number(port).constData(), &hints, &found);
    if (status != 0) {
        error = QString::fromLocal8Bit(gai_strerror(status));
        return -1;
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, &freeaddrinfo);
    int reason = 0;
    for (const addrinfo *address = addresses.get(); address; address = address->ai_next) {
        const int socket = connectTo(*address, deadline, isCancelled, reason);
        if (socket >= 0)
            return socket;
    }
    error = systemReason(reason);
    return -1;
}

} // namespace CommonNOX::Connections
