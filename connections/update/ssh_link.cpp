#include "connections/update/ssh_link_p.h"

#include "connections/update/ssh_socket_p.h"

#include <QFile>
#include <QFileInfo>

#include <libssh/libssh.h>
#include <unistd.h>
#include <utility>

namespace CommonNOX::Connections
{

namespace
{

/// How long cancelled work may take to leave things tidy.
constexpr std::chrono::milliseconds CancelGrace{2'000};
/// Time limits are the watchdog's affair; the session's own would end calls that have every right to wait.
constexpr long NoTimeout = 7 * 24 * 3600;
/// The fastest ones first, where the processor has instructions for them.
constexpr char Ciphers[] = "aes128-gcm@openssh.com,aes256-gcm@openssh.com,chacha20-poly1305@openssh.com,aes256-ctr,"
                           "aes192-ctr,aes128-ctr";
constexpr uint32_t LargestPiece = 32 * 1024;

} // namespace

SshLink::SshLink()
{
    ssh_init();
}

SshLink::~SshLink()
{
    close();
    ssh_finalize();
}

bool SshLink::open(const SshEndpoint &endpoint, const SshLimits &limits, QString &error)
{
    close();
    m_limits = limits;
    m_isHostKeyUnknown = false;
    const QString place = QStringLiteral("%1:%2").arg(endpoint.host, QString::number(endpoint.port));
    const auto deadline = std::chrono::steady_clock::now() + limits.connect;
    SshKey identity;
    error = readIdentity(endpoint, identity);
    if (!error.isEmpty())
        return false;
    const int socket = ConnectSocket(endpoint.host, endpoint.port, deadline, m_isCancelled, error);
    if (socket < 0) {
        if (m_isCancelled.load())
            error = QStringLiteral("cancelled");
        error = QStringLiteral("cannot connect to %1: %2").arg(place, error);
        return false;
    }
    m_socket = socket;
    m_watchdog.setSocket(socket);
    m_session = ssh_new();
    if (!m_session || ssh_options_set(m_session, SSH_OPTIONS_FD, &m_socket) != SSH_OK) {
        close();
        error = QStringLiteral("there is no memory for a session");
        return false;
    }
    error = setOptions(endpoint);
    if (error.isEmpty())
        error = handShake(endpoint, identity.get(), deadline);
    if (error.isEmpty())
        return true;
    error = QStringLiteral("%1: %2").arg(place, error);
    close();
    return false;
}

/// A clause when one of them is not accepted.
QString SshLink::setOptions(const SshEndpoint &endpoint)
{
    const bool readsConfiguration = false;
    const int on = 1;
    const long timeout = NoTimeout;
    const unsigned int port = endpoint.port;
    const auto set = [this](ssh_options_e option, const void *value) {
        return ssh_options_set(m_session, option, value) == SSH_OK;
    };
    // The library takes a per cent sign for the start of a placeholder, in a path too.
    const QByteArray knownHosts =
        QFile::encodeName(QFileInfo(endpoint.knownHostsFile).absoluteFilePath()).replace('%', "%%");
    // Only the files named here count, whatever the user or the machine has configured for other programs.
    if (!set(SSH_OPTIONS_PROCESS_CONFIG, &readsConfiguration) || !set(SSH_OPTIONS_PORT, &port) ||
        !set(SSH_OPTIONS_GLOBAL_KNOWNHOSTS, "/dev/null") || !set(SSH_OPTIONS_NODELAY, &on) ||
        !set(SSH_OPTIONS_TIMEOUT, &timeout) || !set(SSH_OPTIONS_CIPHERS_C_S, Ciphers) ||
        !set(SSH_OPTIONS_CIPHERS_S_C, Ciphers))
        return failure();
    if (!set(SSH_OPTIONS_HOST, endpoint.host.toUtf8().constData()))
        return QStringLiteral("the secure shell does not accept this name of a host");
    if (!set(SSH_OPTIONS_USER, endpoint.user.toUtf8().constData()))
        return QStringLiteral("the secure shell does not accept the user %1").arg(endpoint.user);
    if (!set(SSH_OPTIONS_KNOWNHOSTS, knownHosts.constData()))
        return QStringLiteral("the secure shell does not accept the path %1").arg(endpoint.knownHostsFile);
    return {};
}

QString SshLink::handShake(const SshEndpoint &endpoint, ssh_key identity,
                           std::chrono::steady_clock::time_point deadline)
{
    m_limits.stall = std::max(m_limits.stall, std::chrono::milliseconds(1));
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    const SshWork work(*this, std::max(left, std::chrono::milliseconds(1)));
    if (ssh_connect(m_session) != SSH_OK)
        return failure();
    const QString refusal = checkHostKey(endpoint);
    return refusal.isEmpty() ? logIn(endpoint, identity) : refusal;
}

void SshLink::close()
{
    m_watchdog.setSocket(-1);
    if (m_session) {
        ssh_disconnect(m_session);
        ssh_free(m_session);
        m_session = nullptr;
    }
    // A socket that a session was given is not closed by it.
    if (m_socket >= 0)
        ::close(std::exchange(m_socket, -1));
}

bool SshLink::isOpen() const
{
    return m_session && ssh_is_connected(m_session);
}

void SshLink::cancel()
{
    m_isCancelled = true;
    m_watchdog.interrupt(CancelGrace);
}

QString SshLink::failure() const
{
    if (m_isCancelled.load())
        return QStringLiteral("cancelled");
    if (m_watchdog.hasFired())
        return QStringLiteral("the device did not answer any more, it was given up");
    const QString reason = m_session ? QString::fromUtf8(ssh_get_error(m_session)).simplified() : QString();
    if (!isOpen())
        return reason.isEmpty() ? QStringLiteral("the connection was lost")
                                : QStringLiteral("the connection was lost (%1)").arg(reason);
    return reason.isEmpty() ? QStringLiteral("the device closed the channel") : reason;
}

SshChannel::SshChannel(SshLink &link)
    : m_link(link), m_channel(link.isOpen() ? ssh_channel_new(link.session()) : nullptr)
{
    if (m_channel && ssh_channel_open_session(m_channel) != SSH_OK) {
        ssh_channel_free(m_channel);
        m_channel = nullptr;
    }
}

SshChannel::~SshChannel()
{
    if (m_channel)
        ssh_channel_free(m_channel);
}

bool SshChannel::write(const char *bytes, qint64 count, SshWork &work)
{
    while (count > 0) {
        if (m_link.isCancelled())
            return false;
        const int written = ssh_channel_write(m_channel, bytes, uint32_t(std::min<qint64>(count, LargestPiece)));
        if (written <= 0)
            return false;
        work.note();
        bytes += written;
        count -= written;
    }
    return true;
}

bool SshChannel::read(char *bytes, qint64 count, SshWork &work)
{
    while (count > 0) {
        const int got = ssh_channel_read(m_channel, bytes, uint32_t(std::min<qint64>(count, LargestPiece)), 0);
        if (got <= 0)
            return false;
        work.note();
        bytes += got;
        count -= got;
    }
    return true;
}

} // namespace CommonNOX::Connections
