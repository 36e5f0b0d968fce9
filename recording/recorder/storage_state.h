#pragma once

#include "platform/storage/storage_writer.h"
#include "recording/navigation_records.h"

#include <QString>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace CommonNOX::PD::Recording
{

using FrameworkCore::AppData::Storage::EntryKind;
using FrameworkCore::AppData::Storage::StoredRow;

/// The storage of one recording: opens it, gathers rows in memory and stores them in short transactions, closes it.
/// The worker's thread.
class StorageState
{
public:
    /// A batch is stored at this many rows or bytes, and half a second after its first row.
    static constexpr std::size_t RowsOfBatch = 200;
    static constexpr qint64 BytesOfBatch = 4 * 1024 * 1024;
    static constexpr int MsOfBatch = 500;

    /// The pragmas of the address unless a device setting says otherwise: no synchronous writes, journal in memory.
    static inline const QString DefaultStorageOptions =
        QStringLiteral("pragma_synchronous=OFF&pragma_journal_mode=MEMORY");

    /// Makes the file. False, with a log line, for an empty name, an existing file, and one that cannot be made.
    bool initializeStorage(const QString &fileName, const QString &options = DefaultStorageOptions);
    bool isOpen() const;
    QString getPath() const;

    int getKind(const EntryKind &kind);
    /// Adds a row to the batch; its id.
    qint64 append(int kind, qint64 number, const QByteArray &data);
    /// Adds an element to a packed kind; its number.
    template <class Record>
    qint64 appendElement(int kind, const Record &record)
    {
        Series &series = m_series[kind];
        AppendRecord(series.tail, record);
        series.isChanged = true;
        return series.count++;
    }
    qint64 getElementCount(int kind) const;
    /// Replaces a row that was appended before.
    void replace(qint64 id, int kind, qint64 number, const QByteArray &data);

    bool isBatchFull() const;
    bool hasBatch() const;
    /// Bytes that wait to be stored.
    qint64 getBatchBytes() const { return m_bytes + m_sealedBytes; }
    /// Stores the batch. Busy leaves it for another time.
    using Outcome = FrameworkCore::AppData::Storage::StorageWriter::Outcome;
    Outcome commit();
    /// Marks the file as complete.
    Outcome close();
    /// Gives the file up as it is; what was stored stays.
    void abandon();

    QString getError() const { return m_error; }
    qint64 getFileSize() const;
    qint64 getRowCount() const;

private:
    /// The elements of a packed kind whose run is not full yet.
    struct Series
    {
        qint64 count = 0; ///< elements so far
        qint64 firstOfTail = 0;
        qint64 row = 0; ///< of the run that the tail is stored in; 0 when it has none yet
        QByteArray tail;
        bool isChanged = false;
    };
    void sealRuns();

    mutable std::mutex m_mutex; // guards the counters that others read
    std::shared_ptr<FrameworkCore::AppData::Storage::StorageWriter> m_writer;
    qint64 m_nextId = 1;
    std::vector<StoredRow> m_rows;
    std::vector<StoredRow> m_replacements;
    qint64 m_bytes = 0;
    std::map<int, Series> m_series;
    // A batch that was handed to SQLite keeps its form until it is stored.
    bool m_isSealed = false;
    qint64 m_sealedBytes = 0;
    std::vector<StoredRow> m_sealedRows;
    std::vector<StoredRow> m_sealedReplacements;
    QString m_error;
};

} // namespace CommonNOX::PD::Recording
