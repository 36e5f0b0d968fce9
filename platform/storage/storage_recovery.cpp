#include "platform/storage/storage_recovery.h"

#include "platform/logging.h"
#include "platform/storage/file_lock.h"
#include "platform/storage/sqlite.h"
#include "platform/storage/storage_schema.h"
#include "platform/storage/storage_writer.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace FrameworkCore::AppData::Storage
{

namespace
{

constexpr qint64 BytesOfBatch = 16 * 1024 * 1024;
constexpr int MostNumbers = 1000;

/// Of a journal that SQLite must roll back, or a log that it must take over, before the file is whole. One that names a
/// journal of several files is not ours: SQLite would remove whatever it names.
bool isPending(const QString &path)
{
    const QByteArray mark = QByteArray::fromHex("d9d505f920a163d7");
    QFile journal(path + QStringLiteral("-journal"));
    if (QFileInfo(journal).isFile() && journal.open(QIODevice::ReadOnly) && journal.read(mark.size()) == mark) {
        journal.seek(journal.size() - mark.size());
        return journal.read(mark.size()) != mark;
    }
    return QFileInfo(path + QStringLiteral("-wal")).size() > 0;
}

/// A copy of a file and its journal that SQLite has made whole; removed at the end.
class SettledCopy
{
public:
    SettledCopy(const QString &source, const QString &target) : m_path(target + QStringLiteral(".tmp"))
    {
        for (const QString &suffix : Suffixes) {
            QFile::remove(m_path + suffix);
            if (!QFileInfo(source + suffix).isFile())
                continue;
            QFile::copy(source + suffix, m_path + suffix);
            QFile::setPermissions(m_path + suffix, QFile::ReadOwner | QFile::WriteOwner);
        }
        SqliteDatabase database;
        m_isDone = database.open(m_path, SqliteDatabase::Mode::ReadWrite) &&
                   database.execute("PRAGMA journal_mode=DELETE; BEGIN IMMEDIATE; COMMIT;") && database.close();
    }
    SettledCopy(const SettledCopy &) = delete;
    SettledCopy &operator=(const SettledCopy &) = delete;
    ~SettledCopy()
    {
        for (const QString &suffix : Suffixes)
            QFile::remove(m_path + suffix);
    }

    bool isDone() const { return m_isDone; }
    QString getPath() const { return m_path; }

private:
    static inline const QStringList Suffixes{QString(), QStringLiteral("-journal"), QStringLiteral("-wal")};
    const QString m_path;
    bool m_isDone = false;
};

QString timeOf(const QString &path)
{
    return QString::number(QFileInfo(path).lastModified().toMSecsSinceEpoch());
}

/// Gathers rows and writes them in pieces.
class RowCopier
{
public:
    explicit RowCopier(StorageWriter &writer) : m_writer(writer) {}

    bool add(const StoredRow &row)
    {
        m_rows.push_back(row);
        m_bytes += row.data.size();
        return m_bytes < BytesOfBatch && m_rows.size() < 1000 ? true : flush();
    }

    bool flush()
    {
        m_bytes = 0;
        const bool isDone = m_rows.empty() || m_writer.append(m_rows) == StorageWriter::Outcome::Done;
        m_rows.clear();
        return isDone;
    }

private:
    StorageWriter &m_writer;
    std::vector<StoredRow> m_rows;
    qint64 m_bytes = 0;
};

RecoveryReport copyRows(const StorageReader &reader, const QString &source, const QString &target,
                        const StorageProgress &progress)
{
    RecoveryReport report;
    QMap<QString, QString> facts = reader.getFacts();
    facts.remove(Schema::SeedFact);
    facts.remove(Schema::StateFact);
    const qint64 lastRow = facts.take(Schema::LastRowFact).toLongLong();
    facts[Schema::RecoveredSizeFact] = QString::number(QFileInfo(source).size());
    facts[Schema::RecoveredTimeFact] = timeOf(source);
    QString error;
    const auto writer = StorageWriter::Create(QUrl::fromLocalFile(target), reader.getUuids(), facts, error);
    if (!writer) {
        report.error = QStringLiteral("\"%1\" cannot be made: %2").arg(target, error);
        return report;
    }
    for (const EntryKind &kind : reader.getKinds())
        writer->addKind(kind);
    RowCopier copier(*writer);
    bool isWritten = true;
    const bool isWalked = WalkRows(
        reader,
        [&](const StoredRow &row, StorageReader::Outcome outcome) {
            ++report.found;
            if (outcome != StorageReader::Outcome::Found || !reader.getKind(row.kind))
                return true;
            ++report.restored;
            isWritten = copier.add(row);
            return isWritten;
        },
        progress);
    report.found = qMax(report.found, lastRow);
    isWritten = isWritten && isWalked && copier.flush() && writer->close() == StorageWriter::Outcome::Done;
    if (!isWritten)
        report.error = isWalked ? QStringLiteral("\"%1\" cannot be written: %2").arg(target, writer->getError())
                                : QStringLiteral("interrupted");
    else if (report.restored == 0)
        report.error = QStringLiteral("\"%1\" holds nothing that can be recovered").arg(source);
    return report;
}

/// A recovered copy of these very bytes.
bool isRecoveredFrom(const QString &target, const QString &source)
{
    QString error;
    const auto reader = StorageReader::Open(target, StorageReader::Access::Normal, error);
    return reader && reader->getState() == StorageReader::State::Closed &&
           reader->getFacts().value(Schema::RecoveredSizeFact) == QString::number(QFileInfo(source).size()) &&
           reader->getFacts().value(Schema::RecoveredTimeFact) == timeOf(source);
}

} // namespace

RecoveryReport RecoverStorage(const QString &source, const QString &target, const StorageProgress &progress)
{
    RecoveryReport report;
    if (QFileInfo::exists(target)) {
        report.error = QStringLiteral("\"%1\" exists already").arg(target);
        return report;
    }
    if (FileLock::IsHeld(source)) {
        report.error = QStringLiteral("\"%1\" is being recorded").arg(source);
        return report;
    }
    std::unique_ptr<SettledCopy> settled;
    if (isPending(source))
        settled = std::make_unique<SettledCopy>(source, target);
    QString error;
    const auto reader = StorageReader::Open(settled && settled->isDone() ? settled->getPath() : source,
                                            StorageReader::Access::Rescue, error);
    if (!reader) {
        report.error = error;
        return report;
    }
    report = copyRows(*reader, source, target, progress);
    if (!report.error.isEmpty()) {
        QFile::remove(target);
        return report;
    }
    report.path = target;
    return report;
}

RecoveryReport RecoverStorageBeside(const QString &source, const QString &cacheFolder, const StorageProgress &progress)
{
    const QFileInfo file(source);
    QDir folder = file.absoluteDir();
    if (!QFileInfo(folder.absolutePath()).isWritable()) {
        folder = QDir(cacheFolder);
        folder.mkpath(QStringLiteral("."));
    }
    for (int number = 1; number <= MostNumbers; ++number) {
        const QString middle = number == 1 ? QStringLiteral("recovered") : QStringLiteral("recovered-%1").arg(number);
        const QString name = file.suffix().isEmpty()
                                 ? QStringLiteral("%1.%2").arg(file.fileName(), middle)
                                 : QStringLiteral("%1.%2.%3").arg(file.completeBaseName(), middle, file.suffix());
        const QString target = folder.filePath(name);
        if (!QFileInfo::exists(target))
            return RecoverStorage(source, target, progress);
        if (isRecoveredFrom(target, source)) {
            RecoveryReport report;
            report.path = target;
            return report;
        }
    }
    RecoveryReport report;
    report.error = QStringLiteral("there are too many recovered copies of \"%1\"").arg(source);
    return report;
}

OpenedStorage OpenStorage(const QString &path, const QString &cacheFolder, const StorageProgress &progress)
{
    OpenedStorage opened;
    if (!isPending(path) || FileLock::IsHeld(path)) {
        opened.reader = StorageReader::Open(path, StorageReader::Access::Normal, opened.error);
        if (opened.reader && opened.reader->getState() != StorageReader::State::Interrupted)
            return opened;
        if (opened.reader) {
            const StorageCheck check = CheckStorage(*opened.reader, progress);
            opened.wasInterrupted = check.isIntact();
            if (opened.wasInterrupted)
                return opened;
            opened.reader.reset();
            opened.error = check.isComplete ? QString() : QStringLiteral("interrupted");
            if (!check.isComplete)
                return opened;
        }
    }
    // What cannot be read even in this way is no recording, or not any more: the first objection says why.
    QString error;
    const auto damaged = StorageReader::Open(path, StorageReader::Access::Rescue, error);
    if (!damaged) {
        if (opened.error.isEmpty())
            opened.error = error;
        return opened;
    }
    RecoveryReport report = RecoverStorageBeside(path, cacheFolder, progress);
    report.wasClosed = damaged->getState() == StorageReader::State::Closed;
    opened.error = report.error;
    if (!report.error.isEmpty())
        return opened;
    opened.reader = StorageReader::Open(report.path, StorageReader::Access::Normal, opened.error);
    if (!opened.reader)
        return opened;
    // Whoever opened it tells of it; the log is for those who look for it later.
    qCInfo(Shared::frameworkLog()).noquote()
        << QStringLiteral("\"%1\" is damaged, what came back is in \"%2\"").arg(path, report.path);
    opened.recovery = report;
    return opened;
}

} // namespace FrameworkCore::AppData::Storage
