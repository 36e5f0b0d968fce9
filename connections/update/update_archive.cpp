#include "connections/update/update_archive.h"

#include <QDir>
#include <QFile>

#include <archive.h>
#include <archive_entry.h>
#include <memory>

namespace CommonNOX::Devices
{

namespace
{

constexpr std::size_t BlockSize = 64 * 1024;

struct ReadFree
{
    void operator()(archive *reader) const { archive_read_free(reader); }
};

QString reasonOf(archive *reader)
{
    const char *text = archive_error_string(reader);
    return text ? QString::fromLocal8Bit(text).simplified() : QStringLiteral("the archive is damaged");
}

QString nameOf(archive_entry *entry)
{
    // Names that are not UTF-8 have no other reading that a manifest could mean.
    const char *name = archive_entry_pathname_utf8(entry);
    return QString::fromUtf8(name ? name : archive_entry_pathname(entry));
}

bool leadsOut(const QString &name)
{
    return name.isEmpty() || name.startsWith(QLatin1Char('/')) || name.contains(QChar(0)) ||
           name.split(QLatin1Char('/')).contains(QStringLiteral(".."));
}

/// `room` is what may still be unpacked, in bytes.
QString unpackFile(archive *reader, archive_entry *entry, const QString &path, qint64 &room,
                   const std::function<bool()> &isEnded)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return QStringLiteral("%1 cannot be written: %2").arg(path, file.errorString());
    const void *block = nullptr;
    std::size_t size = 0;
    la_int64_t offset = 0;
    int status = ARCHIVE_OK;
    while ((status = archive_read_data_block(reader, &block, &size, &offset)) == ARCHIVE_OK) {
        if (isEnded())
            return QStringLiteral("interrupted");
        room -= qint64(size);
        // Sparse entries skip; what they skip takes no room here either, but may not go beyond all bounds.
        if (room < 0 || offset < 0 || offset > room + file.size() + qint64(size))
            return QStringLiteral("it unpacks to too many bytes");
        if (!file.seek(offset) || file.write(static_cast<const char *>(block), qint64(size)) != qint64(size))
            return QStringLiteral("%1 cannot be written: %2").arg(path, file.errorString());
    }
    if (status != ARCHIVE_EOF)
        return reasonOf(reader);
    // The last thing in a sparse file may be a hole, which no block tells of.
    const qint64 whole = archive_entry_size_is_set(entry) ? archive_entry_size(entry) : file.size();
    if (whole > file.size() && (whole > room + file.size() || !file.resize(whole)))
        return QStringLiteral("it unpacks to too many bytes");
    if (!file.flush())
        return QStringLiteral("%1 cannot be written: %2").arg(path, file.errorString());
    if (archive_entry_perm(entry) & 0100)
        file.setPermissions(file.permissions() | QFileDevice::ExeOwner | QFileDevice::ExeGroup | QFileDevice::ExeOther);
    return {};
}

QString unpackEntry(archive *reader, archive_entry *entry, const QDir &folder, qint64 &room,
                    const std::function<bool()> &isEnded)
{
    const QString name = nameOf(entry);
    if (leadsOut(name))
        return QStringLiteral("\"%1\" would lie outside the package").arg(name.left(80));
    const bool isFile = archive_entry_filetype(entry) == AE_IFREG;
    if (archive_entry_hardlink(entry) || (!isFile && archive_entry_filetype(entry) != AE_IFDIR))
        return QStringLiteral("\"%1\" is a link or a special file").arg(name.left(80));
    const QString path = folder.filePath(QDir::cleanPath(name));
    if (!folder.mkpath(isFile ? QFileInfo(path).path() : path))
        return QStringLiteral("the folder of \"%1\" cannot be made").arg(name.left(80));
    return isFile ? unpackFile(reader, entry, path, room, isEnded) : QString();
}

} // namespace

QString UnpackUpdateArchive(const QString &archivePath, const QString &folder, const UpdateArchiveLimits &limits)
{
    const std::unique_ptr<archive, ReadFree> reader(archive_read_new());
    if (!reader)
        return QStringLiteral("no memory");
    archive_read_support_format_zip(reader.get());
    archive_read_support_format_tar(reader.get());
    archive_read_support_filter_gzip(reader.get());
    if (archive_read_open_filename(reader.get(), QFile::encodeName(archivePath).constData(), BlockSize) != ARCHIVE_OK)
        return reasonOf(reader.get());
    const QDir target(folder);
    qint64 room = limits.bytes;
    const auto isEnded = [&] { return limits.goesOn && !limits.goesOn(); };
    for (int count = 0;; ++count) {
        if (isEnded())
            return QStringLiteral("interrupted");
        archive_entry *entry = nullptr;
        const int status = archive_read_next_header(reader.get(), &entry);
        if (status == ARCHIVE_EOF)
            return {};
        // A warning here is about a name or an attribute that could not be converted.
        if (status != ARCHIVE_OK && status != ARCHIVE_WARN)
            return reasonOf(reader.get());
        if (count >= limits.entries)
            return QStringLiteral("it holds too many files");
        const QString fault = unpackEntry(reader.get(), entry, target, room, isEnded);
        if (!fault.isEmpty())
            return fault;
    }
}

} // namespace CommonNOX::Devices
