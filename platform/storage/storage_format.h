#pragma once

#include "framework_export.h"

#include <QByteArray>
#include <QString>
#include <QUuid>

#include <cstdint>
#include <optional>

/// What stands in a storage's file; docs/replay-file.md tells it to those who read one with other tools.
namespace FrameworkCore::AppData::Storage
{

/// "NOXE", at byte 68 of the file, so that other programs know it.
constexpr qint32 ApplicationId = 0x4E4F5845;
constexpr int SchemaVersion = 1;

/// What is filed alike: entries of one type under one category, of the device or of one channel.
struct EntryKind
{
    QString type;           ///< the repository key of the entry's class, category and version joined by an underscore
    QString category;       ///< what the entry is filed under
    QString classification; ///< whose it is, such as "device" or "channel_3"; may be empty
    /// Bytes of a packed element; 0 for entries that have a row each. Elements of a packed kind stand in runs.
    int recordSize = 0;

    friend bool operator==(const EntryKind &, const EntryKind &) = default;
};

/// One row: an entry, or a run of packed elements.
struct StoredRow
{
    qint64 id = 0; ///< from 1 on, in order of insertion
    int kind = 0;  ///< number of its EntryKind
    /// Of a run the number of its first element; of an entry what its writer gave, such as the index of its period.
    qint64 number = 0;
    QByteArray data;
};

/// Where an element is: a row of its own, or a number in the elements of a packed kind.
struct ElementPlace
{
    int kind = 0; ///< 0 for a row
    qint64 number = 0;

    friend bool operator==(const ElementPlace &, const ElementPlace &) = default;
};

/// The uuids of a storage's elements: a random part of the file, and the element's place, so that either gives the
/// other without a table.
class FRAMEWORK_EXPORT ElementUuids
{
public:
    /// With a random part that no other file has.
    static ElementUuids Create();
    /// `seed` as getSeed() told.
    explicit ElementUuids(quint64 seed) : m_seed(seed & Mask) {}

    quint64 getSeed() const { return m_seed; }
    /// In braces, lower case.
    QString toUuid(const ElementPlace &place) const;
    /// Nothing for a uuid of another file, and for what is none.
    std::optional<ElementPlace> toPlace(const QString &uuid) const;

private:
    static constexpr quint64 Mask = (quint64(1) << 60) - 1;
    quint64 m_seed;
};

/// What a row is checked by when it is read: XXH3 (64 bits) over the data, seeded with XXH3 over id, kind and number as
/// 64-bit little-endian integers, so that bytes in a wrong place are noticed too.
FRAMEWORK_EXPORT qint64 ComputeChecksum(const StoredRow &row);

} // namespace FrameworkCore::AppData::Storage
