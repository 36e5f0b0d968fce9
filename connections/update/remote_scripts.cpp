#include "connections/update/remote_scripts_p.h"

#include "connections/update/ssh_command_p.h"

#include <algorithm>

namespace CommonNOX::Connections
{

namespace
{

constexpr int DigestLength = 64;
constexpr char DigestCommand[] = "sha256sum --";
constexpr char UnreadableAnswer[] = "the device's answer is unreadable";

QList<QByteArray> linesOf(const QByteArray &text)
{
    QList<QByteArray> lines = text.split('\n');
    if (lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

bool isHexadecimal(const QByteArray &text)
{
    return std::all_of(text.begin(), text.end(),
                       [](char letter) { return std::isdigit(uchar(letter)) || (letter >= 'a' && letter <= 'f'); });
}

/// A name with a backslash or a line end is written in another way, which a backslash before the digest tells.
std::optional<QByteArray> parseDigest(const QByteArray &line)
{
    const QByteArray digest = line.mid(line.startsWith('\\') ? 1 : 0, DigestLength);
    return digest.size() == DigestLength && isHexadecimal(digest) ? std::optional(digest) : std::nullopt;
}

/// Runs a script that prints so many lines, and reads each.
template <class Value, class Read>
std::optional<QList<Value>> askAbout(SshLink &link, const QByteArray &script, int count, QString &error, Read read)
{
    const auto answer = RunSshScript(link, script + '\n', error);
    if (!answer)
        return std::nullopt;
    const QList<QByteArray> lines = linesOf(*answer);
    QList<Value> values;
    for (const QByteArray &line : lines) {
        const std::optional<Value> value = read(line);
        if (value)
            values.append(*value);
    }
    if (values.size() == count && lines.size() == count)
        return values;
    error = QLatin1String(UnreadableAnswer);
    return std::nullopt;
}

} // namespace

const char *const StatCommand = "stat -L -c '%a %u %g %s' --";

QByteArray QuotePaths(const QStringList &paths)
{
    QByteArray words;
    for (const QString &path : paths)
        words += ' ' + QuotePathForShell(path);
    return words;
}

QByteArray MakeSyncCommand(const QByteArray &files)
{
    // Not every device can write single files to its disk; one that can has to succeed.
    return "if sync -- . 2>/dev/null; then sync --" + files + "; else sync; fi";
}

std::optional<RemoteFacts> ParseRemoteFacts(const QByteArray &line)
{
    const QList<QByteArray> fields = line.split(' ');
    if (fields.size() != 4)
        return std::nullopt;
    for (const QByteArray &field : fields) {
        if (field.isEmpty() || !std::all_of(field.begin(), field.end(), [](char c) { return std::isdigit(uchar(c)); }))
            return std::nullopt;
    }
    return RemoteFacts{fields[0], fields[1], fields[2], fields[3].toLongLong()};
}

std::optional<QList<QByteArray>> ReadRemoteDigests(SshLink &link, const QStringList &paths, QString &error)
{
    return askAbout<QByteArray>(link, DigestCommand + QuotePaths(paths), paths.size(), error, &parseDigest);
}

std::optional<QList<RemoteCopy>> SecureRemoteCopies(SshLink &link, const QStringList &paths, QString &error)
{
    // They are written to the disk while the digests are made.
    const QByteArray files = QuotePaths(paths);
    const QByteArray script =
        "{ " + MakeSyncCommand(files) + "; } & " + StatCommand + files + " && " + DigestCommand + files + " && wait $!";
    const auto lines = askAbout<QByteArray>(link, script, 2 * paths.size(), error,
                                            [](const QByteArray &line) { return std::optional(line); });
    if (!lines)
        return std::nullopt;
    QList<RemoteCopy> copies;
    for (int i = 0; i < paths.size(); ++i) {
        const auto facts = ParseRemoteFacts((*lines)[i]);
        const auto digest = parseDigest((*lines)[paths.size() + i]);
        if (!facts || !digest) {
            error = QLatin1String(UnreadableAnswer);
            return std::nullopt;
        }
        copies.append({*facts, *digest});
    }
    return copies;
}

std::optional<QHash<QString, QString>> ReadRemoteFirstLines(SshLink &link, const QStringList &paths, QString &error)
{
    QByteArray script = "r() { if [ -f \"$2\" ] && [ -r \"$2\" ]; then printf '%s ' \"$1\"; "
                        "head -c 1024 < \"$2\" | head -n 1 | tr -d '\\000'; echo; fi; }\n";
    for (int i = 0; i < paths.size(); ++i) {
        if (!QuotePathForShell(paths[i]).isEmpty())
            script += "r " + QByteArray::number(i) + ' ' + QuotePathForShell(paths[i]) + '\n';
    }
    const auto answer = RunSshScript(link, script + ":\n", error);
    if (!answer)
        return std::nullopt;
    QHash<QString, QString> found;
    const QList<QByteArray> lines = linesOf(*answer);
    for (const QByteArray &line : lines) {
        const int space = line.indexOf(' ');
        bool isNumber = false;
        const int index = line.left(std::max(space, 0)).toInt(&isNumber);
        if (isNumber && index >= 0 && index < paths.size())
            found.insert(paths[index], QString::fromUtf8(line.mid(space + 1)).trimmed());
    }
    return found;
}

} // namespace CommonNOX::Connections
