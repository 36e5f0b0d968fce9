#pragma once

#include "connections/update/ssh_link_p.h"

#include <optional>

namespace CommonNOX::Connections
{

/// How a command is to be run.
struct SshCommandRequest
{
    QByteArray command;
    QByteArray input; ///< its standard input, which ends behind it
    std::chrono::milliseconds limit{};
    /// Take what it writes, as it comes; what they do not want may be empty functions.
    std::function<void(const char *bytes, int count)> takeOutput;
    std::function<void(const char *bytes, int count)> takeError;
};

/// Runs a command on the device. Nothing, with a clause in `error`, when it could not be run to its end; else its exit
/// status, 128 and more when a signal ended it. A silent command is kept company by keep-alives, whose answers count as
/// progress; the command's own limit is `request.limit`.
std::optional<int> RunSshCommand(SshLink &link, const SshCommandRequest &request, QString &error);

/// Runs a script of our own in a POSIX shell, whatever the user's login shell is, and gives its output. Nothing, with a
/// clause in `error`, unless its exit status is 0; the clause is what it wrote to its standard error.
std::optional<QByteArray> RunSshScript(SshLink &link, const QByteArray &script, QString &error);

} // namespace CommonNOX::Connections
