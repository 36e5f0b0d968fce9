#include "connections/update/ssh_connection.h"

#include "connections/update/file_digest.h"
#include "connections/update/file_installation_p.h"
#include "connections/update/line_splitter.h"
#include "connections/update/remote_scripts_p.h"
#include "connections/update/ssh_command_p.h"
#include "entries/log.h"
#include "platform/visitors.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QThread>
#include <QTimer>

#include <libssh/server.h>

#include <algorithm>

namespace CommonNOX::Connections
{

using std::chrono::milliseconds;

namespace
{

constexpr int MaximumOutput = 1024 * 1024;
constexpr int MaximumReason = 4096;
constexpr milliseconds IdleKeepAlive{15'000};

milliseconds configured(const Utilities::GuiContextVisitor &context, const QString &key, milliseconds standard)
{
    const qint64 value = context.getProperty(key).toLongLong();
    return value > 0 ? milliseconds(value) : standard;
}

void setLimit(milliseconds &limit, milliseconds value)
{
    if (value.count() > 0)
        limit = value;
}

} // namespace

struct SSHConnection::Private
{
    SshEndpoint endpoint;
    SshLimits limits;
    SshLink link;
    std::unique_ptr<SftpUpload> sftp;
    QTimer keepAlive;
    QString error;
    bool hasStalled = false;
};

SSHConnection::SSHConnection(const ReaderConstPtr &reader, const QString &host, const QString &user,
                             const QString &password, const QString &identityFile, const QString &knownHostsFile,
                             unsigned short port, QObject *parent)
    : QObject(parent), d(std::make_unique<Private>())
{
    const Utilities::GuiContextVisitor context(reader);
    d->endpoint = {host, port, user, password, identityFile, knownHostsFile, false};
    d->limits.connect = configured(context, QStringLiteral("ssh_connect_timeout"), d->limits.connect);
    d->limits.stall = configured(context, QStringLiteral("ssh_stall_timeout"), d->limits.stall);
    d->limits.command = configured(context, QStringLiteral("ssh_command_timeout"), d->limits.command);
    // Moves to another thread together with this object.
    d->keepAlive.setParent(this);
    d->keepAlive.setInterval(IdleKeepAlive);
    QObject::connect(&d->keepAlive, &QTimer::timeout, this, [this] { keepAlive(); });
}

SSHConnection::~SSHConnection()
{
    d->keepAlive.setParent(nullptr);
    disconnect();
}

void SSHConnection::setConnectTimeout(milliseconds limit)
{
    setLimit(d->limits.connect, limit);
}

void SSHConnection::setStallTimeout(milliseconds limit)
{
    setLimit(d->limits.stall, limit);
}

void SSHConnection::setCommandTimeout(milliseconds limit)
{
    setLimit(d->limits.command, limit);
}

void SSHConnection::setAcceptsNewHostKey(bool accepts)
{
    d->endpoint.acceptsNewHostKey = accepts;
}

bool SSHConnection::fail(const char *operation, const QString &reason)
{
    d->error = reason;
    qCWarning(libraryLog).noquote().nospace() << "SSHConnection::" << operation << "() " << reason;
    d->hasStalled = d->link.watchdog().hasFired();
    // A session that did not answer in time, or whose work was broken off, is in no state to go on with.
    if (d->link.watchdog().hasFired() || !d->link.isOpen())
        disconnect();
    return false;
}

bool SSHConnection::canStart(const char *operation)
{
    if (QThread::currentThread() != thread())
        return fail(operation, QStringLiteral("it was called from another thread than the connection's"));
    return d->link.isOpen() || fail(operation, QStringLiteral("there is no connection"));
}

bool SSHConnection::connect()
{
    if (QThread::currentThread() != thread())
        return fail("connect", QStringLiteral("it was called from another thread than the connection's"));
    if (d->link.isOpen())
        return true;
    QString error;
    if (!d->link.open(d->endpoint, d->limits, error))
        return fail("connect", error);
    d->keepAlive.start();
    return true;
}

bool SSHConnection::isConnected() const
{
    return d->link.isOpen();
}

void SSHConnection::disconnect()
{
    if (QThread::currentThread() == d->keepAlive.thread())
        d->keepAlive.stop();
    d->sftp.reset();
    d->link.close();
}

void SSHConnection::keepAlive()
{
    if (!d->link.isOpen())
        return;
    const SshWork work(d->link);
    if (ssh_send_keepalive(d->link.session()) == SSH_OK && d->link.isOpen())
        return;
    fail("keepAlive", d->link.failure());
    emit connectionLost(d->error);
}

SSHCommandResult SSHConnection::executeCommand(const QString &command)
{
    SSHCommandResult result;
    if (!canStart("executeCommand")) {
        result.error = d->error;
        return result;
    }
    QByteArray output, errorOutput;
    LineSplitter outputLines([this](const QString &line) { emit partialCommandResult(line); });
    LineSplitter errorLines([this](const QString &line) { emit partialCommandError(line); });
    const auto take = [](QByteArray &bytes, LineSplitter &lines) {
        return [&bytes, &lines](const char *more, int count) {
            bytes.append(more, std::min(count, MaximumOutput - bytes.size()));
            lines.add(more, count);
        };
    };
    const auto status = RunSshCommand(
        d->link, {command.toUtf8(), {}, d->limits.command, take(output, outputLines), take(errorOutput, errorLines)},
        result.error);
    outputLines.finish();
    errorLines.finish();
    result.output = QString::fromUtf8(output);
    result.errorOutput = QString::fromUtf8(errorOutput);
    result.exitStatus = status.value_or(-1);
    if (!status)
        fail("executeCommand", result.error);
    emit executedCommand(command, result.exitStatus);
    return result;
}

QVector<SSHCommandResult> SSHConnection::executeCommands(const QStringList &commands)
{
    QVector<SSHCommandResult> results;
    for (const QString &command : commands) {
        results.append(executeCommand(command));
        if (!results.last().isOk())
            break;
    }
    return results;
}

bool SSHConnection::sendFile(const FileCopyDescription &file)
{
    return sendFiles({file});
}

bool SSHConnection::sendFiles(const QVector<FileCopyDescription> &files)
{
    if (!canStart("sendFiles"))
        return false;
    FileInstallation installation(
        d->link, d->sftp,
        {[this](int index, int percent) { emit sendingFile(index, percent); },
         [this, &files](int index) { emit sentFile(files[index].source, files[index].destination); }});
    QString error;
    return installation.install(files, error) || fail("sendFiles", error);
}

bool SSHConnection::getFile(const FileCopyDescription &file)
{
    return getFiles({file});
}

bool SSHConnection::getFiles(const QVector<FileCopyDescription> &files)
{
    if (!canStart("getFiles"))
        return false;
    for (const FileCopyDescription &file : files) {
        QString error;
        if (!fetch(file, error))
            return fail("getFiles", QStringLiteral("%1 cannot be fetched: %2").arg(file.source, error));
    }
    return true;
}

bool SSHConnection::fetch(const FileCopyDescription &file, QString &error)
{
    const QByteArray path = QuotePathForShell(file.source);
    const QFileInfo place(file.destination);
    const bool isFolder = place.isDir() || file.destination.endsWith(QLatin1Char('/'));
    QSaveFile target(isFolder ? QDir(file.destination).filePath(QFileInfo(file.source).fileName()) : file.destination);
    if (path.isEmpty() || !target.open(QIODevice::WriteOnly)) {
        error = path.isEmpty() ? QStringLiteral("it has no name") : target.errorString();
        return false;
    }
    FileDigest digest;
    QByteArray reason;
    bool isWritten = true;
    const auto take = [&](const char *bytes, int count) {
        digest.add(bytes, std::size_t(count));
        isWritten = isWritten && target.write(bytes, count) == count;
    };
    const auto complain = [&](const char *bytes, int count) {
        reason.append(bytes, std::min(count, MaximumReason - reason.size()));
    };
    const auto status =
        RunSshCommand(d->link, {"exec sh -s", "exec cat -- " + path + '\n', d->limits.command, take, complain}, error);
    if (!status)
        return false;
    if (*status != 0) {
        error = QString::fromUtf8(reason).simplified();
        return false;
    }
    const auto sums = ReadRemoteDigests(d->link, {file.source}, error);
    if (!sums)
        return false;
    const bool isWhole = sums->first() == digest.hexadecimal();
    if (isWhole && isWritten && target.commit())
        return true;
    error = isWhole ? target.errorString() : QStringLiteral("it did not arrive as it is there");
    return false;
}

std::optional<QHash<QString, QString>> SSHConnection::readFirstLines(const QStringList &paths)
{
    if (!canStart("readFirstLines"))
        return std::nullopt;
    QString error;
    auto lines = ReadRemoteFirstLines(d->link, paths, error);
    if (!lines)
        fail("readFirstLines", QStringLiteral("the versions cannot be read: %1").arg(error));
    return lines;
}

bool SSHConnection::makeFile(const QString &folder, const QString &name)
{
    if (!canStart("makeFile"))
        return false;
    QString error;
    const QByteArray path = QuotePathForShell(QDir(folder).filePath(name));
    return RunSshScript(d->link, ": > " + path + '\n', error).has_value() || fail("makeFile", error);
}

bool SSHConnection::removeFiles(const QString &folder, const QString &prefix)
{
    if (!canStart("removeFiles"))
        return false;
    QString error;
    const QByteArray path = QuotePathForShell(QDir(folder).filePath(prefix));
    return RunSshScript(d->link, "rm -f -- " + path + "*\n", error).has_value() || fail("removeFiles", error);
}

void SSHConnection::cancel()
{
    d->link.cancel();
}

QString SSHConnection::getError() const
{
    return d->error;
}

bool SSHConnection::hasStalled() const
{
    return d->hasStalled;
}

bool SSHConnection::isHostKeyUnknown() const
{
    return d->link.isHostKeyUnknown();
}

} // namespace CommonNOX::Connections
