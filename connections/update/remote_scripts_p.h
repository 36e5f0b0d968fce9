#pragma once

#include "connections/update/shell_quoting.h"
#include "connections/update/ssh_link_p.h"

#include <QHash>
#include <QList>
#include <QStringList>

#include <optional>

namespace CommonNOX::Connections
{

/// The end of the names of files that are not verified yet.
constexpr char TemporarySuffix[] = ".nox-part";

struct RemoteFacts
{
    QByteArray mode;         ///< octal
    QByteArray owner, group; ///< numbers
    qint64 size = 0;
};

struct RemoteCopy
{
    RemoteFacts facts;
    QByteArray sha256; ///< in hexadecimal
};

/// These ask about files on the device, in order, with one command. Nothing, with a clause in `error`, unless all of
/// them could be read.
std::optional<QList<QByteArray>> ReadRemoteDigests(SshLink &link, const QStringList &paths, QString &error);
/// They are on the device's disk as well then, safe from a loss of power.
std::optional<QList<RemoteCopy>> SecureRemoteCopies(SshLink &link, const QStringList &paths, QString &error);

/// The lines of `stat` with the format of `StatCommand`.
extern const char *const StatCommand;
std::optional<RemoteFacts> ParseRemoteFacts(const QByteArray &line);

/// The first lines of the files that exist, by path, at most 1024 bytes of each.
std::optional<QHash<QString, QString>> ReadRemoteFirstLines(SshLink &link, const QStringList &paths, QString &error);

/// The paths as words of a shell, each behind a space.
QByteArray QuotePaths(const QStringList &paths);
/// Puts these words of a shell on the disk, or everything on a device that cannot pick.
QByteArray MakeSyncCommand(const QByteArray &files);

} // namespace CommonNOX::Connections
