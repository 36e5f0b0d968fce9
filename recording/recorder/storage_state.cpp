#include "recording/recorder/storage_state.h"

#include "entries/log.h"
#include "platform/storage/storages.h"
#include "recording/replay_file.h"

#include <QDateTime>
#include <QFileInfo>
#include <QUrl>

#include <algorithm>
#include <utility>

namespace CommonNOX::PD::Recording
{

using FrameworkCore::AppData::Storage::Storages;
using Outcome = StorageState::Outcome;

bool StorageState::initializeStorage(const QString &fileName, const QString &options)
{
    const std::lock_guard guard(m_mutex);
    m_error.clear();
    if (fileName.isEmpty()) {
        qCWarning(libraryLog()) << "StorageState::initializeStorage() failed to initialize the storage with empty file "
                                   "name";
        return false;
    }
    const QFileInfo file(fileName);
    const QString path = file.absoluteFilePath();
    const QString complaint =
        QStringLiteral("StorageState::initializeStorage() failed to initialize the storage with filename=") + fileName;
    if (file.exists() || file.isSymLink()) {
        qCWarning(libraryLog()).noquote() << complaint + QStringLiteral(". This file exists already!");
        m_error = QStringLiteral("\"%1\" exists already").arg(fileName);
        return false;
    }
    QUrl url;
    url.setScheme(QStringLiteral("file"));
    url.setPath(path);
    url.setQuery(options);
    QString error;
    m_writer = Storages::getInstance().create(
        MakeStorageIdentifier(path), url,
        {{QStringLiteral("created"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)}}, error);
    if (!m_writer) {
        qCWarning(libraryLog()).noquote() << complaint + QStringLiteral(": ") + error;
        m_error = QStringLiteral("\"%1\" cannot be made: %2").arg(fileName, error);
        return false;
    }
    m_nextId = 1;
    m_rows.clear();
    m_replacements.clear();
    m_sealedRows.clear();
    m_sealedReplacements.clear();
    m_isSealed = false;
    m_sealedBytes = 0;
    m_bytes = 0;
    m_series.clear();
    return true;
}

bool StorageState::isOpen() const
{
    const std::lock_guard guard(m_mutex);
    return m_writer != nullptr;
}

QString StorageState::getPath() const
{
    const std::lock_guard guard(m_mutex);
    return m_writer ? m_writer->getPath() : QString();
}

int StorageState::getKind(const EntryKind &kind)
{
    return m_writer->addKind(kind);
}

qint64 StorageState::append(int kind, qint64 number, const QByteArray &data)
{
    const std::lock_guard guard(m_mutex);
    m_rows.push_back({m_nextId, kind, number, data});
    m_bytes += data.size();
    return m_nextId++;
}

qint64 StorageState::getElementCount(int kind) const
{
    const auto found = m_series.find(kind);
    return found == m_series.end() ? 0 : found->second.count;
}

void StorageState::replace(qint64 id, int kind, qint64 number, const QByteArray &data)
{
    for (StoredRow &row : m_rows) {
        if (row.id == id) {
            row.data = data;
            return;
        }
    }
    m_replacements.push_back({id, kind, number, data});
}

bool StorageState::isBatchFull() const
{
    return m_rows.size() >= RowsOfBatch || m_bytes >= BytesOfBatch;
}

bool StorageState::hasBatch() const
{
    return m_isSealed || !m_rows.empty() || !m_replacements.empty() ||
           std::any_of(m_series.begin(), m_series.end(), [](const auto &entry) { return entry.second.isChanged; });
}

/// Makes rows of the packed elements: the run that is not full grows in its row.
void StorageState::sealRuns()
{
    for (auto &[kind, series] : m_series) {
        while (series.isChanged) {
            const int size = qMin(series.tail.size(), ElementsOfRun * RecordSize);
            const QByteArray run = series.tail.left(size);
            if (series.row == 0) {
                const std::lock_guard guard(m_mutex);
                series.row = m_nextId++;
                m_rows.push_back({series.row, kind, series.firstOfTail, run});
            } else {
                m_replacements.push_back({series.row, kind, series.firstOfTail, run});
            }
            series.isChanged = size < series.tail.size();
            if (size == ElementsOfRun * RecordSize) {
                series.tail.remove(0, size);
                series.firstOfTail += ElementsOfRun;
                series.row = 0;
            }
        }
    }
}

Outcome StorageState::commit()
{
    if (!m_writer)
        return Outcome::Failed;
    // First what waits from before.
    for (int pass = m_isSealed ? 0 : 1; pass < 2; ++pass) {
        if (!m_isSealed) {
            sealRuns();
            m_sealedRows.swap(m_rows);
            m_sealedReplacements.swap(m_replacements);
            m_sealedBytes = std::exchange(m_bytes, 0);
            m_isSealed = true;
        }
        if (m_sealedRows.empty() && m_sealedReplacements.empty()) {
            m_isSealed = false;
            continue;
        }
        const Outcome outcome = m_writer->append(m_sealedRows, m_sealedReplacements);
        if (outcome != Outcome::Done) {
            if (outcome == Outcome::Failed)
                m_error = m_writer->getError();
            return outcome;
        }
        m_sealedRows.clear();
        m_sealedReplacements.clear();
        m_sealedBytes = 0;
        m_isSealed = false;
    }
    return Outcome::Done;
}

Outcome StorageState::close()
{
    const std::lock_guard guard(m_mutex);
    if (!m_writer)
        return Outcome::Failed;
    const Outcome outcome = m_writer->close();
    if (outcome == Outcome::Failed)
        m_error = m_writer->getError();
    if (outcome != Outcome::Busy)
        m_writer.reset();
    return outcome;
}

void StorageState::abandon()
{
    const std::lock_guard guard(m_mutex);
    m_writer.reset();
}

qint64 StorageState::getFileSize() const
{
    const std::lock_guard guard(m_mutex);
    return m_writer ? m_writer->getSize() : 0;
}

qint64 StorageState::getRowCount() const
{
    const std::lock_guard guard(m_mutex);
    return m_nextId - 1;
}

} // namespace CommonNOX::PD::Recording
