#include "connections/update/remote_scripts_p.h"

#include "connections/update/ssh_command_p.h"

#include <algorithm>

namespace CommonNOX::Connections
{

namespace
{

constexpr int DigestLength = 64;

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

/// Runs a command over all the paths that prints one line for each, and reads these.
template <class Value, class Read>
std::optional<QList<Value>> askAbout(SshLink &link, const QByteArray &command, const QStringList &paths, QString &error,
                                     Read read)
{
    const auto answer = RunSshScript(link, command + QuotePaths(paths) + '\n', error);
    if (!answer)
        return std::nullopt;
    const QList<QByteArray> lines = linesOf(*answer);
    QList<Value> values;
    for (const QByteArray &line : lines) {
        const std::optional<Value> value = read(line);
        if (value)
            values.append(*value);
    }
    if (values.size() == paths.size() && lines.size() == paths.size())
        return values;
    error = QStringLiteral("the device's answer is unreadable");
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

std::optional<QList<RemoteFacts>> ReadRemoteFacts(SshLink &link, const QStringList &paths, QString &error)
{
    return askAbout<RemoteFacts>(link, StatCommand, paths, error, &ParseRemoteFacts);
}

std::optional<QList<QByteArray>> ReadRemoteDigests(SshLink &link, const QStringList &paths, QString &error)
{
    // A name with a backslash or a line end is written in another way, which a backslash before the digest tells.
    return askAbout<QByteArray>(link, "sha256sum --", paths, error, [](const QByteArray &line) {
        const QByteArray digest = line.mid(line.startsWith('\\') ? 1 : 0, DigestLength);
        return digest.size() == DigestLength && isHexadecimal(digest) ? std::optional(digest) : std::nullopt;
    });
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
