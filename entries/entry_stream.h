#pragma once

#include "entries/data_entry.h"
#include "entries/wire_cursor.h"
#include "nox_export.h"

#include <QDataStream>

#include <concepts>

namespace CommonNOX
{

/// An entry's stream form: guid (QString), number of properties (qint64), then a record a property: name (QString),
/// value (QVariant), searchable (bool), icon (QIcon), description (QString), in order of declaration. Readers take
/// the records in any order.
///
/// Reading happens into an entry of the expected class and takes only values: a record of an unknown name is
/// dropped, a property without a record keeps its default. Another guid ends the reading after the count. The
/// bytes are checked as a whole before anything is decoded: what is truncated, nested deeper than 64 levels, of a
/// type that is not known (see RegisterPayloadSkipper) or counts more than the stream holds leaves the entry
/// untouched, turns the stream's status to ReadPastEnd or ReadCorruptData, and leaves its device where it was.
/// Bytes behind an entry are legal. No GUI is needed; any thread.
class NOX_EXPORT EntryStream
{
public:
    static void Write(QDataStream &stream, const DataEntry &entry);
    /// False when nothing was read or the bytes stand for a null pointer.
    static bool Read(QDataStream &stream, DataEntry &entry);
    /// Reads an entry of whatever class: a registered one as an instance of its class, another as a plain entry.
    /// Null for what stands for a null pointer, and when the stream turns bad.
    static DataEntryPtr ReadAny(QDataStream &stream);
    /// What stands for a null pointer: an empty guid without properties.
    static void WriteNull(QDataStream &stream);
    /// Moves over an entry's bytes. A guid other than the given one is refused, unless none is given or the bytes
    /// stand for a null pointer.
    static bool Skip(WireCursor &cursor, const QString &guid = {});
    /// Reads into an entry what `Skip` accepts with the entry's guid, and moves behind it. False when the bytes stand
    /// for a null pointer.
    static bool Take(WireCursor &cursor, const QDataStream &format, DataEntry &entry);

private:
    static void TakeRecords(WireCursor &cursor, qint64 count, const QDataStream &format, DataEntry &entry);
};

NOX_EXPORT QDataStream &operator<<(QDataStream &stream, const DataEntry &entry);
NOX_EXPORT QDataStream &operator>>(QDataStream &stream, DataEntry &entry);

NOX_EXPORT QDataStream &operator<<(QDataStream &stream, const DataEntryPtr &entry);
NOX_EXPORT QDataStream &operator>>(QDataStream &stream, DataEntryPtr &entry);
NOX_EXPORT QDataStream &operator<<(QDataStream &stream, const DataEntryConstPtr &entry);
NOX_EXPORT QDataStream &operator>>(QDataStream &stream, DataEntryConstPtr &entry);

template <class Entry>
concept EntryClass = std::derived_from<Entry, DataEntry> && !std::same_as<Entry, DataEntry>;

template <EntryClass Entry>
QDataStream &operator<<(QDataStream &stream, const std::shared_ptr<Entry> &entry)
{
    return stream << DataEntryConstPtr(entry);
}

template <EntryClass Entry>
QDataStream &operator>>(QDataStream &stream, std::shared_ptr<Entry> &entry)
{
    auto read = std::make_shared<std::remove_const_t<Entry>>();
    const bool isEntry = EntryStream::Read(stream, *read) || stream.status() != QDataStream::Ok;
    entry = isEntry ? read : nullptr;
    return stream;
}

} // namespace CommonNOX
