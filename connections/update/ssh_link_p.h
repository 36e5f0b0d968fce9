#pragma once

#include "connections/update/ssh_watchdog.h"

#include <QByteArray>
#include <QString>

#include <libssh/libssh.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>

namespace CommonNOX::Connections
{

struct SshEndpoint
{
    QString host;
    quint16 port = 22;
    QString user;
    QString password;
    QString identityFile;
    QString knownHostsFile;
    bool acceptsNewHostKey = false;
};

struct SshKeyFree
{
    void operator()(ssh_key key) const { ssh_key_free(key); }
};
using SshKey = std::unique_ptr<std::remove_pointer_t<ssh_key>, SshKeyFree>;

struct SshLimits
{
    std::chrono::milliseconds connect{10'000}; ///< until the user is logged in, the look-up of the name included
    std::chrono::milliseconds stall{30'000};   ///< without progress
    std::chrono::milliseconds command{30 * 60'000};
};

/// An encrypted session with its watchdog. For one thread, but for `cancel`.
///
/// Work on the session stands inside an `SshWork`; every answer of the device is to be noted there.
class SshLink
{
public:
    SshLink();
    SshLink(const SshLink &) = delete;
    SshLink &operator=(const SshLink &) = delete;
    ~SshLink();

    /// Connects, checks the host key, logs in. False with one sentence in `error`.
    bool open(const SshEndpoint &endpoint, const SshLimits &limits, QString &error);
    void close();
    bool isOpen() const;

    ssh_session session() const { return m_session; }
    const SshLimits &limits() const { return m_limits; }
    SshWatchdog &watchdog() { return m_watchdog; }

    /// Ends the work under way soon, and keeps new work from starting: one that is about to be opened too.
    void cancel();
    bool isCancelled() const { return m_isCancelled.load() && !m_isTidying; }
    /// Lets work run although it was cancelled, for the little time that cancelled work has.
    void setTidying(bool isTidying) { m_isTidying = isTidying; }

    /// Why the last call to the session failed, as a clause.
    QString failure() const;
    /// Whether the host key was unknown at the last `open`.
    bool isHostKeyUnknown() const { return m_isHostKeyUnknown; }

private:
    // Each gives a clause when it fails.
    static QString readIdentity(const SshEndpoint &endpoint, SshKey &identity);
    QString setOptions(const SshEndpoint &endpoint);
    QString handShake(const SshEndpoint &endpoint, ssh_key identity, std::chrono::steady_clock::time_point deadline);
    QString checkHostKey(const SshEndpoint &endpoint);
    QString logIn(const SshEndpoint &endpoint, ssh_key identity);
    int askAgent();

    ssh_session m_session = nullptr;
    int m_socket = -1; // the session's
    SshLimits m_limits;
    SshWatchdog m_watchdog;
    std::atomic<bool> m_isCancelled{false};
    bool m_isTidying = false;
    bool m_isHostKeyUnknown = false;
};

/// While it lives, progress is expected.
class SshWork
{
public:
    SshWork(SshLink &link, std::chrono::milliseconds limit) : m_link(link) { m_link.watchdog().expect(limit); }
    explicit SshWork(SshLink &link) : SshWork(link, link.limits().stall) {}
    SshWork(const SshWork &) = delete;
    SshWork &operator=(const SshWork &) = delete;
    ~SshWork() { m_link.watchdog().rest(); }

    void note() { m_link.watchdog().note(); }

private:
    SshLink &m_link;
};

/// Owns a channel, which ends with it.
class SshChannel
{
public:
    /// Opens a channel of the session; `get` is null when that failed.
    explicit SshChannel(SshLink &link);
    SshChannel(const SshChannel &) = delete;
    SshChannel &operator=(const SshChannel &) = delete;
    ~SshChannel();

    ssh_channel get() const { return m_channel; }
    /// Writes all of it; false when the session has failed or was cancelled.
    bool write(const char *bytes, qint64 count, SshWork &work);
    /// Reads exactly so many bytes; false at the end of the stream too.
    bool read(char *bytes, qint64 count, SshWork &work);

private:
    SshLink &m_link;
    ssh_channel m_channel = nullptr;
};

} // namespace CommonNOX::Connections
