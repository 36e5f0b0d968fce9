#include "connections/update/ssh_command_p.h"

#include <libssh/callbacks.h>
#include <libssh/server.h>

#include <algorithm>

namespace CommonNOX::Connections
{

namespace
{

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// How often to look for a cancellation and for the time.
constexpr int SliceMs = 50;
constexpr milliseconds LongestKeepAliveInterval{10'000};
/// What a script of our own may write; more is dropped.
constexpr int MaximumOutput = 16 * 1024 * 1024;
constexpr int MaximumReason = 4096;
constexpr int SignalStatus = 128;

/// A running command, told of what happens by the session's call-backs.
class RunningCommand
{
public:
    RunningCommand(SshLink &link, const SshCommandRequest &request)
        : m_link(link), m_request(request), m_work(link), m_channel(link), m_event(ssh_event_new())
    {}
    RunningCommand(const RunningCommand &) = delete;
    RunningCommand &operator=(const RunningCommand &) = delete;
    ~RunningCommand()
    {
        if (m_channel.get())
            ssh_remove_channel_callbacks(m_channel.get(), &m_callbacks);
        if (m_event) {
            if (m_link.session())
                ssh_event_remove_session(m_event, m_link.session());
            ssh_event_free(m_event);
        }
    }

    /// A clause when it fails.
    QString start();
    QString wait();
    std::optional<int> exitStatus() const { return m_exitStatus; }

private:
    static int onData(ssh_session, ssh_channel, void *data, uint32_t count, int isError, void *self);
    QString feed();
    QString keepAlive();

    SshLink &m_link;
    const SshCommandRequest &m_request;
    SshWork m_work;
    SshChannel m_channel;
    ssh_event m_event;
    ssh_channel_callbacks_struct m_callbacks{};
    std::optional<int> m_exitStatus;
    bool m_isClosed = false;
    Clock::time_point m_start = Clock::now();
    Clock::time_point m_lastKeepAlive = m_start;
};

int RunningCommand::onData(ssh_session, ssh_channel, void *data, uint32_t count, int isError, void *self)
{
    auto &command = *static_cast<RunningCommand *>(self);
    command.m_work.note();
    const auto &take = isError ? command.m_request.takeError : command.m_request.takeOutput;
    if (take)
        take(static_cast<const char *>(data), int(count));
    return int(count);
}

QString RunningCommand::start()
{
    if (!m_channel.get() || !m_event || m_link.isCancelled())
        return m_link.failure();
    m_callbacks.userdata = this;
    m_callbacks.channel_data_function = &RunningCommand::onData;
    m_callbacks.channel_exit_status_function = [](ssh_session, ssh_channel, int status, void *self) {
        static_cast<RunningCommand *>(self)->m_exitStatus = status;
    };
    m_callbacks.channel_exit_signal_function = [](ssh_session, ssh_channel, const char *, int, const char *,
                                                  const char *, void *self) {
        static_cast<RunningCommand *>(self)->m_exitStatus = SignalStatus;
    };
    m_callbacks.channel_close_function = [](ssh_session, ssh_channel, void *self) {
        static_cast<RunningCommand *>(self)->m_isClosed = true;
    };
    ssh_callbacks_init(&m_callbacks);
    if (ssh_set_channel_callbacks(m_channel.get(), &m_callbacks) != SSH_OK ||
        ssh_channel_request_exec(m_channel.get(), m_request.command.constData()) != SSH_OK)
        return m_link.failure();
    m_work.note();
    return feed();
}

QString RunningCommand::feed()
{
    // A command that ends without reading its input closes the channel; its exit status tells more than the failure.
    if (!m_request.input.isEmpty() && !m_channel.write(m_request.input.constData(), m_request.input.size(), m_work) &&
        !m_isClosed)
        return m_link.failure();
    if (!m_isClosed && ssh_channel_send_eof(m_channel.get()) != SSH_OK)
        return m_link.failure();
    return ssh_event_add_session(m_event, m_link.session()) == SSH_OK ? QString() : m_link.failure();
}

QString RunningCommand::keepAlive()
{
    const milliseconds interval = std::min(m_link.limits().stall / 3, LongestKeepAliveInterval);
    if (Clock::now() - m_lastKeepAlive < interval)
        return {};
    // Waits for the answer; any answer will do.
    if (ssh_send_keepalive(m_link.session()) != SSH_OK || !m_link.isOpen())
        return m_link.failure();
    m_work.note();
    m_lastKeepAlive = Clock::now();
    return {};
}

QString RunningCommand::wait()
{
    while (!m_isClosed) {
        if (m_link.isCancelled())
            return m_link.failure();
        if (Clock::now() - m_start > m_request.limit)
            return QStringLiteral("it took longer than %1 s").arg(double(m_request.limit.count()) / 1000.0);
        if (ssh_event_dopoll(m_event, SliceMs) == SSH_ERROR || !m_link.isOpen())
            return m_link.failure();
        const QString fault = m_isClosed ? QString() : keepAlive();
        if (!fault.isEmpty())
            return fault;
    }
    return {};
}

} // namespace

std::optional<int> RunSshCommand(SshLink &link, const SshCommandRequest &request, QString &error)
{
    RunningCommand command(link, request);
    error = command.start();
    if (error.isEmpty())
        error = command.wait();
    if (!error.isEmpty())
        return std::nullopt;
    if (!command.exitStatus())
        error = QStringLiteral("it ended without an exit status");
    return command.exitStatus();
}

std::optional<QByteArray> RunSshScript(SshLink &link, const QByteArray &script, QString &error)
{
    QByteArray output, reason;
    const auto append = [](QByteArray &bytes, int limit) {
        return
            [&bytes, limit](const char *more, int count) { bytes.append(more, std::min(count, limit - bytes.size())); };
    };
    const SshCommandRequest request{"exec sh -s", "LC_ALL=C; export LC_ALL\n" + script, link.limits().command,
                                    append(output, MaximumOutput), append(reason, MaximumReason)};
    const auto status = RunSshCommand(link, request, error);
    if (!status)
        return std::nullopt;
    if (*status == 0)
        return output;
    error = QString::fromUtf8(reason).simplified();
    if (error.isEmpty())
        error = QStringLiteral("exit status %1").arg(*status);
    return std::nullopt;
}

} // namespace CommonNOX::Connections
