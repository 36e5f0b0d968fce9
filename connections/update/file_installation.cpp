#include "connections/update/file_installation_p.h"

#include "connections/update/remote_scripts_p.h"
#include "connections/update/scp_upload_p.h"
#include "connections/update/ssh_command_p.h"

#include <QDir>
#include <QFileInfo>
#include <QRandomGenerator>

namespace CommonNOX::Connections
{

namespace
{

/// What an interruption may cost, and what one script's command lines hold.
constexpr qint64 BatchBytes = 32 * 1024 * 1024;
constexpr int BatchFiles = 256;
/// A file whose content is not verified yet is not all there.
constexpr int UnverifiedPercent = 99;
/// Names of files have 255 bytes at most, of which the temporary one needs some more.
constexpr int LongestNameBytes = 180;

QString folderOf(const QString &path)
{
    const int slash = path.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? QStringLiteral(".") : path.left(slash + 1);
}

QString nameOf(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

QString temporaryPath(const QString &destination, const QString &run, int index)
{
    QString name = nameOf(destination);
    while (name.toUtf8().size() > LongestNameBytes)
        name.chop(1);
    const QString folder = destination.contains(QLatin1Char('/')) ? folderOf(destination) : QString();
    return folder + QStringLiteral(".%1.%2-%3%4").arg(name, run).arg(index).arg(QLatin1String(TemporarySuffix));
}

QStringList pathsOf(const std::vector<FileUpload> &uploads)
{
    QStringList paths;
    for (const FileUpload &upload : uploads)
        paths.append(upload.remotePath);
    return paths;
}

} // namespace

FileInstallation::FileInstallation(SshLink &link, std::unique_ptr<SftpUpload> &sftp, InstallationEvents events)
    : m_link(link), m_sftp(sftp), m_events(std::move(events)),
      m_run(QString::number(QRandomGenerator::system()->generate(), 16))
{}

bool FileInstallation::install(const QVector<FileCopyDescription> &files, QString &error)
{
    if (!readSources(files, error))
        return false;
    std::size_t next = 0;
    while (next < m_items.size()) {
        Batch batch = takeBatch(next);
        if (!installBatch(batch, error))
            return false;
    }
    return true;
}

bool FileInstallation::readSources(const QVector<FileCopyDescription> &files, QString &error)
{
    m_items.clear();
    for (int i = 0; i < files.size(); ++i) {
        const QFileInfo info(files[i].source);
        if (!info.isFile() || !info.isReadable()) {
            error = QStringLiteral("%1 is no file that can be read").arg(files[i].source);
            return false;
        }
        Item item;
        item.index = i;
        item.source = files[i].source;
        item.destination = files[i].destination;
        if (item.destination.endsWith(QLatin1Char('/')))
            item.destination += info.fileName();
        if (QuotePathForShell(item.destination).isEmpty()) {
            error = QStringLiteral("%1 has no destination").arg(files[i].source);
            return false;
        }
        if (!noteDestination(item.destination, error))
            return false;
        item.size = info.size();
        item.mode = info.permission(QFileDevice::ExeOwner) ? "755" : "644";
        m_items.push_back(item);
    }
    return true;
}

/// Of two files in one place only chance would tell which is there at the end.
bool FileInstallation::noteDestination(const QString &destination, QString &error)
{
    const QString path = QDir::cleanPath(destination);
    if (m_destinations.contains(path)) {
        error = QStringLiteral("two files have the destination %1").arg(path);
        return false;
    }
    m_destinations.insert(path);
    return true;
}

FileInstallation::Batch FileInstallation::takeBatch(std::size_t &next) const
{
    Batch batch;
    qint64 bytes = 0;
    while (next < m_items.size() &&
           (batch.empty() || (bytes + m_items[next].size <= BatchBytes && int(batch.size()) < BatchFiles))) {
        bytes += m_items[next].size;
        batch.push_back(m_items[next++]);
    }
    return batch;
}

bool FileInstallation::installBatch(Batch &batch, QString &error)
{
    if (!survey(batch, error) || !findSame(batch, error))
        return false;
    std::vector<FileUpload> uploads = makeUploads(batch);
    std::vector<QByteArray> owners;
    if (!uploads.empty() &&
        !(send(batch, uploads, error) && verify(uploads, owners, error) && commit(batch, uploads, owners, error))) {
        removeTemporaries(uploads);
        return false;
    }
    for (const Item &item : batch) {
        m_events.progressed(item.index, 100);
        m_events.installed(item.index);
    }
    return true;
}

std::vector<FileUpload> FileInstallation::makeUploads(const Batch &batch) const
{
    std::vector<FileUpload> uploads;
    for (const Item &item : batch) {
        if (!item.isSame)
            uploads.push_back({item.source, temporaryPath(item.destination, m_run, item.index), item.size, {}});
    }
    return uploads;
}

bool FileInstallation::send(const Batch &batch, std::vector<FileUpload> &uploads, QString &error)
{
    std::vector<int> indices;
    for (const Item &item : batch) {
        if (!item.isSame)
            indices.push_back(item.index);
    }
    const auto tell = [&](int upload, qint64 sent) {
        const qint64 size = std::max<qint64>(uploads[std::size_t(upload)].size, 1);
        m_events.progressed(indices[std::size_t(upload)], int(sent * UnverifiedPercent / size));
    };
    if (!m_sftp)
        m_sftp = SftpUpload::Open(m_link, error);
    if (m_sftp) {
        if (m_sftp->send(uploads, tell, error))
            return true;
        // Answers that are still on their way would be taken for those of later requests.
        m_sftp.reset();
        explainFullDisk(uploads.front(), error);
        return false;
    }
    if (!error.isEmpty())
        return false;
    for (std::size_t i = 0; i < uploads.size(); ++i) {
        if (!SendByScp(
                m_link, uploads[i], [&](qint64 sent) { tell(int(i), sent); }, error))
            return false;
    }
    return true;
}

/// SFTP has no word for it.
void FileInstallation::explainFullDisk(const FileUpload &upload, QString &error)
{
    if (!m_link.isOpen() || m_link.isCancelled())
        return;
    QString ignored;
    const QByteArray folder = QuotePathForShell(folderOf(upload.remotePath));
    const auto answer = RunSshScript(m_link, "df -Pk -- " + folder + " | tail -n 1\n", ignored);
    const QList<QByteArray> fields = answer ? answer->simplified().split(' ') : QList<QByteArray>();
    bool isNumber = false;
    const qint64 freeKilobytes = fields.size() > 3 ? fields[3].toLongLong(&isNumber) : 0;
    constexpr qint64 NextToNothing = 64;
    if (isNumber && freeKilobytes < NextToNothing)
        error += QStringLiteral("; its disk is full, %1 kB are left").arg(freeKilobytes);
}

bool FileInstallation::verify(const std::vector<FileUpload> &uploads, std::vector<QByteArray> &owners, QString &error)
{
    const auto copies = SecureRemoteCopies(m_link, pathsOf(uploads), error);
    if (!copies) {
        error = QStringLiteral("what was sent cannot be verified: %1").arg(error);
        return false;
    }
    for (std::size_t i = 0; i < uploads.size(); ++i) {
        const auto &[fact, sha256] = (*copies)[int(i)];
        if (fact.size != uploads[i].size || sha256 != uploads[i].sha256) {
            error = QStringLiteral("%1 did not arrive as it was sent, the device has %2 of %3 bytes")
                        .arg(uploads[i].localPath, QString::number(fact.size), QString::number(uploads[i].size));
            return false;
        }
        owners.push_back(fact.owner + ':' + fact.group);
    }
    return true;
}

bool FileInstallation::commit(const Batch &batch, const std::vector<FileUpload> &uploads,
                              const std::vector<QByteArray> &owners, QString &error)
{
    std::map<QByteArray, QByteArray> byOwner, byMode;
    QByteArray renames;
    QStringList folders;
    std::size_t next = 0;
    for (const Item &item : batch) {
        if (item.isSame)
            continue;
        const QByteArray temporary = ' ' + QuotePathForShell(uploads[next].remotePath);
        const QByteArray owner = item.owner + ':' + item.group;
        if (item.exists && owner != owners[next])
            byOwner[owner] += temporary;
        byMode[item.mode] += temporary;
        folders.append(folderOf(item.destination));
        renames += "mv -f --" + temporary + ' ' + QuotePathForShell(item.destination) + '\n';
        ++next;
    }
    // Their content is on the disk before they get their names, else a loss of power could leave empty files behind. A
    // change of owner takes special modes away, so these come later.
    QByteArray script = "set -e\n";
    for (const auto &[owner, files] : byOwner)
        script += "chown " + owner + " --" + files + '\n';
    for (const auto &[mode, files] : byMode)
        script += "chmod " + mode + " --" + files + '\n';
    folders.removeDuplicates();
    if (RunSshScript(m_link, script + renames + MakeSyncCommand(QuotePaths(folders)) + '\n', error))
        return true;
    error = QStringLiteral("what was sent cannot be put in its place: %1").arg(error);
    return false;
}

void FileInstallation::removeTemporaries(const std::vector<FileUpload> &uploads)
{
    if (!m_link.isOpen())
        return;
    QByteArray script = "rm -f --";
    for (const FileUpload &upload : uploads)
        script += ' ' + QuotePathForShell(upload.remotePath);
    // What remains is removed by the next run.
    QString ignored;
    m_link.setTidying(true);
    RunSshScript(m_link, script + '\n', ignored);
    m_link.setTidying(false);
}

} // namespace CommonNOX::Connections
