#include "connections/update/file_digest.h"
#include "connections/update/file_installation_p.h"
#include "connections/update/remote_scripts_p.h"
#include "connections/update/ssh_command_p.h"

#include <QFileInfo>

namespace CommonNOX::Connections
{

namespace
{

/// Tells by a letter what is there, and gathers what there is more to know of. Tests of the shell itself, as a program
/// a file would take most of the time.
constexpr char SurveyScript[] =
    "s() {\n"
    "if [ -d \"$2\" ]; then t=d; elif [ ! -e \"$2\" ]; then t=n; elif [ ! -f \"$2\" ]; then "
    "t=x; elif [ -r \"$2\" ]; then t=r; else t=u; fi\n"
    "echo \"$1 $t\"; [ \"$t\" = r ] || [ \"$t\" = u ]\n}\nset --\n";

QString folderOf(const QString &path)
{
    const int slash = path.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? QStringLiteral("./") : path.left(slash + 1);
}

} // namespace

/// Files that were not finished, of runs before this one.
QByteArray FileInstallation::makeCleaning(const std::vector<Item *> &items)
{
    QByteArray script;
    for (const Item *item : items) {
        const QString folder = folderOf(item->destination);
        if (m_cleanedFolders.contains(folder))
            continue;
        m_cleanedFolders.insert(folder);
        script += "for f in " + QuotePathForShell(folder) + ".*" + TemporarySuffix +
                  "; do if [ -f \"$f\" ]; then rm -f -- \"$f\"; fi; done\n";
    }
    return script;
}

bool FileInstallation::survey(Batch &batch, QString &error)
{
    std::vector<Item *> items;
    for (Item &item : batch)
        items.push_back(&item);
    bool isDone = surveyOnce(items, error);
    if (isDone && !items.empty()) {
        // Those that are folders: the file goes into them.
        for (Item *item : items) {
            item->destination += QLatin1Char('/') + QFileInfo(item->source).fileName();
            if (!noteDestination(item->destination, error))
                return false;
        }
        isDone = surveyOnce(items, error);
        if (isDone && !items.empty()) {
            error = QStringLiteral("%1 is a folder on the device").arg(items.front()->destination);
            return false;
        }
    }
    if (!isDone)
        error = QStringLiteral("the files on the device cannot be looked at: %1").arg(error);
    return isDone;
}

/// Leaves in `items` those that are folders on the device.
bool FileInstallation::surveyOnce(std::vector<Item *> &items, QString &error)
{
    QByteArray script = makeCleaning(items) + SurveyScript;
    for (std::size_t i = 0; i < items.size(); ++i) {
        const QByteArray path = QuotePathForShell(items[i]->destination);
        script += "s " + QByteArray::number(int(i)) + ' ' + path + " && set -- \"$@\" " + path + '\n';
    }
    script += QByteArray("if [ $# -gt 0 ]; then ") + StatCommand + " \"$@\"; fi\n";
    const auto answer = RunSshScript(m_link, script, error);
    if (!answer)
        return false;
    error = QStringLiteral("the device's answer is unreadable");
    const QList<QByteArray> lines = answer->split('\n');
    std::vector<Item *> existing, folders;
    int next = 0;
    for (std::size_t i = 0; i < items.size(); ++i) {
        const QByteArray line = lines.value(next++);
        const char kind = line.isEmpty() ? '\0' : line.at(line.size() - 1);
        if (line != QByteArray::number(int(i)) + ' ' + kind)
            return false;
        if (kind == 'x') {
            error = QStringLiteral("%1 is no regular file").arg(items[i]->destination);
            return false;
        }
        items[i]->exists = kind == 'r' || kind == 'u';
        items[i]->isReadable = kind == 'r';
        if (items[i]->exists)
            existing.push_back(items[i]);
        else if (kind == 'd')
            folders.push_back(items[i]);
    }
    for (Item *item : existing) {
        const auto facts = ParseRemoteFacts(lines.value(next++));
        if (!facts)
            return false;
        item->mode = facts->mode;
        item->owner = facts->owner;
        item->group = facts->group;
        item->oldSize = facts->size;
    }
    items = folders;
    return true;
}

bool FileInstallation::findSame(Batch &batch, QString &error)
{
    std::vector<Item *> candidates;
    QStringList paths;
    for (Item &item : batch) {
        if (item.isReadable && item.oldSize == item.size) {
            candidates.push_back(&item);
            paths.append(item.destination);
        }
    }
    if (paths.isEmpty())
        return true;
    const auto digests = ReadRemoteDigests(m_link, paths, error);
    if (!digests) {
        error = QStringLiteral("the files on the device cannot be looked at: %1").arg(error);
        return false;
    }
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        if (m_link.isCancelled()) {
            error = m_link.failure();
            return false;
        }
        const QByteArray own = FileDigest::OfFile(candidates[i]->source, error);
        if (own.isEmpty())
            return false;
        candidates[i]->isSame = own == (*digests)[int(i)];
    }
    return true;
}

} // namespace CommonNOX::Connections
