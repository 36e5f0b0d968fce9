#pragma once

#include "platform/storage/storage_reader.h"
#include "platform/storage/storage_recovery.h"
#include "platform/storage/storage_writer.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QUrlQuery>

#include <gtest/gtest.h>
#include <random>

/// What the tests of the storage share: files of known rows, and files spoiled on purpose.
namespace StorageTools
{

using namespace FrameworkCore::AppData::Storage;

inline const EntryKind Blocks{QStringLiteral("block_1"), QStringLiteral("blocks"), QStringLiteral("channel_0")};
inline const EntryKind Marks{QStringLiteral("mark_1"), QStringLiteral("marks"), QString()};
inline const EntryKind Steps{QStringLiteral("step_1"), QStringLiteral("steps"), QString(), 8};

/// Bytes that no other row has.
inline QByteArray bytesOf(quint32 seed, int size)
{
    std::mt19937 random(seed);
    QByteArray bytes(size, Qt::Uninitialized);
    for (char &byte : bytes)
        byte = char(random());
    return bytes;
}

/// The row of an id: blocks and marks in turn.
inline StoredRow rowOf(qint64 id, int size = 200)
{
    return {id, 1 + int(id % 2), 1000 + id, bytesOf(quint32(id), size)};
}

class StorageTest : public ::testing::Test
{
protected:
    QString pathOf(const QString &name) const { return folder.filePath(name); }

    std::unique_ptr<StorageWriter> create(const QString &name, const QString &query = {})
    {
        QUrl url = QUrl::fromLocalFile(pathOf(name));
        url.setQuery(query.isEmpty() ? QStringLiteral("pragma_synchronous=OFF&pragma_journal_mode=MEMORY") : query);
        auto writer = StorageWriter::Create(url, ElementUuids::Create(), {}, error);
        if (writer) {
            writer->addKind(Blocks);
            writer->addKind(Marks);
        }
        return writer;
    }

    /// A file of `count` rows.
    QString make(const QString &name, qint64 count, bool isClosed = true, int size = 200)
    {
        const auto writer = create(name);
        std::vector<StoredRow> rows;
        for (qint64 id = 1; id <= count; ++id)
            rows.push_back(rowOf(id, size));
        EXPECT_EQ(writer->append(rows), StorageWriter::Outcome::Done);
        if (isClosed) {
            EXPECT_EQ(writer->close(), StorageWriter::Outcome::Done);
        }
        return pathOf(name);
    }

    std::unique_ptr<StorageReader> open(const QString &path,
                                        StorageReader::Access access = StorageReader::Access::Normal)
    {
        error.clear();
        return StorageReader::Open(path, access, error);
    }

    OpenedStorage openAnyhow(const QString &path) const { return OpenStorage(path, pathOf(QStringLiteral("cache"))); }

    static QByteArray contentOf(const QString &path)
    {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll();
    }
    static void write(const QString &path, const QByteArray &bytes)
    {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        EXPECT_EQ(file.write(bytes), bytes.size());
    }
    /// Everything in the folder, so that nothing is left behind unnoticed.
    QStringList list() const { return QDir(folder.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot); }

    QTemporaryDir folder;
    QString error;
};

} // namespace StorageTools
