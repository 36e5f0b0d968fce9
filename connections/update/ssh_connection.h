#pragma once

#include "connections/update/file_copy_description.h"
#include "nox_export.h"
#include "platform/reader_interface.h"

#include <QHash>
#include <QObject>
#include <QStringList>
#include <QVector>

#include <chrono>
#include <memory>
#include <optional>

namespace CommonNOX::Connections
{

/// What a command on the device came to.
struct SSHCommandResult
{
    QString output;      ///< at most 1 MiB; the signals tell all of it
    QString errorOutput; ///< the same
    int exitStatus = -1; ///< from 128 on when a signal ended it; -1 when it did not run to its end
    QString error;       ///< a clause that says why it did not; empty when it did

    bool isOk() const { return error.isEmpty() && exitStatus == 0; }
};

/// A secure-shell connection to a device: commands, and files that are replaced safely. See docs/update.md.
///
/// Operations block, in the thread in which the object lives, which is to be one of its own; everybody else hears of
/// them by signals. `cancel` alone may be called from any thread. An operation that fails writes one line to the log
/// and leaves the reason in `getError`. No operation waits for a silent device longer than its limit, and a connection
/// that reached a limit is closed.
class NOX_EXPORT SSHConnection : public QObject
{
    Q_OBJECT
public:
    using ReaderConstPtr = std::shared_ptr<const Shared::GuiContexts::ReaderInterface>;

    /// `identityFile` is a private key, which `password` opens where need be; empty for none. The agent is asked as
    /// well where SSH_AUTH_SOCK names one. Without an identity `password` comes last; with one it is never sent.
    /// `knownHostsFile` is the only file that host keys are looked up in. The limits below are read from the reader's
    /// context, in ms: "ssh_connect_timeout", "ssh_stall_timeout", "ssh_command_timeout".
    SSHConnection(const ReaderConstPtr &reader, const QString &host, const QString &user, const QString &password,
                  const QString &identityFile, const QString &knownHostsFile, unsigned short port = 22,
                  QObject *parent = nullptr);
    ~SSHConnection() override;

    /// For connecting, up to the log-in; 10 s by default. Values of 0 or less are ignored, here and below.
    void setConnectTimeout(std::chrono::milliseconds limit);
    /// How long nothing may come from the device that is asked or sent something; 30 s by default.
    void setStallTimeout(std::chrono::milliseconds limit);
    /// For one command; 30 min by default.
    void setCommandTimeout(std::chrono::milliseconds limit);
    /// Whether a host key that is not known yet is stored in the known-hosts file and accepted. One that differs from
    /// the known one never is.
    void setAcceptsNewHostKey(bool accepts);

    /// Checks the host key before anything of the user is sent. True when there is a connection, the old one too.
    bool connect();
    bool isConnected() const;
    void disconnect();

    /// Runs the command as it stands in the user's login shell.
    SSHCommandResult executeCommand(const QString &command);
    /// One after the other, up to the first that does not end with status 0. As many results as were started.
    QVector<SSHCommandResult> executeCommands(const QStringList &commands);

    /// Copies files to the device. Each is the old one or the new one at any time; one with the same content is left
    /// alone. Mode and owner of a replaced file are kept; a new one is 755 or 644 by the source's executable bit. A
    /// link at the destination is replaced itself. `sentFile` tells each that is in its place.
    bool sendFile(const FileCopyDescription &file);
    bool sendFiles(const QVector<FileCopyDescription> &files);
    /// Fetches files from the device; the destination is here. Whole and verified, or not at all.
    bool getFile(const FileCopyDescription &file);
    bool getFiles(const QVector<FileCopyDescription> &files);

    /// The first line of each file, at most 1024 bytes; those that are not there, or cannot be read, are left out.
    std::optional<QHash<QString, QString>> readFirstLines(const QStringList &paths);

    /// Makes an empty file, or removes those in a folder whose names begin with a prefix; of letters, digits, points
    /// and hyphens alone.
    bool makeFile(const QString &folder, const QString &name);
    bool removeFiles(const QString &folder, const QString &prefix);

    /// Ends the operation under way within 3 s, and every later one at once, for good. Any thread.
    void cancel();

    /// Of the last operation that failed; one sentence without its full stop.
    QString getError() const;
    /// Whether the last failure was that the device did not answer in time.
    bool hasStalled() const;
    /// Whether the last `connect` failed because nobody knows the host key yet.
    bool isHostKeyUnknown() const;

signals:
    void executedCommand(const QString &command, int exitStatus);
    /// A line that the running command wrote, to its output or its error output; a carriage return ends a line too. At
    /// most 4096 bytes of each.
    void partialCommandResult(const QString &line);
    void partialCommandError(const QString &line);
    void sentFile(const QString &source, const QString &destination);
    /// How much of a file of the running `sendFiles` is on the device; 99 % until it is verified.
    void sendingFile(int index, int percent);
    /// The connection was lost while it was idle.
    void connectionLost(const QString &reason);

private:
    bool fail(const char *operation, const QString &reason);
    bool canStart(const char *operation);
    bool fetch(const FileCopyDescription &file, QString &error);
    void keepAlive();

    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace CommonNOX::Connections
