#include "entries/entry_stream.h"

#include "entries/data_entry_property_p.h"
#include "entries/entry_registration.h"
#include "entries/log.h"
#include "entries/wire_variant.h"

#include <QBuffer>

#include <algorithm>
#include <limits>
#include <vector>

namespace CommonNOX
{

namespace
{

// A record is at least a name, a value, a flag, an icon and a description.
constexpr qint64 SmallestRecord = 4 + WireCursor::SmallestVariant + 1 + 4 + 4;
constexpr qint64 FirstWindow = 64 * 1024;

/// What stands before an entry's records.
struct Head
{
    QString guid;
    qint64 count = 0;

    bool isNull() const { return guid.isEmpty() && count == 0; }
};

bool readHead(WireCursor &cursor, Head &head)
{
    return cursor.read(head.guid) && cursor.read(head.count);
}

/// Flag, icon and description.
bool skipTraits(WireCursor &cursor)
{
    return cursor.skip(1) && cursor.skipIcon() && cursor.skipString();
}

bool skipRecords(WireCursor &cursor, qint64 count)
{
    if (count < 0)
        return cursor.fail();
    if (count > cursor.getRemaining() / SmallestRecord)
        return cursor.fail(WireCursor::State::PastEnd);
    for (qint64 i = 0; i < count; ++i) {
        if (!cursor.skipString() || !cursor.skipVariant() || !skipTraits(cursor))
            return false;
    }
    return true;
}

/// The bytes that a stream still has, as far as they are needed: in place where they lie in memory, else a look
/// ahead that grows until the walk succeeds or the device has no more.
class Window
{
public:
    explicit Window(QDataStream &stream) : m_stream(stream)
    {
        QIODevice *device = stream.device();
        if (!device || !device->isReadable())
            return;
        // A sequential device need not know what is still to come.
        m_available = device->isSequential() ? std::numeric_limits<int>::max() : device->bytesAvailable();
        if (const auto *buffer = qobject_cast<QBuffer *>(device))
            m_bytes = QByteArray::fromRawData(buffer->buffer().constData() + device->pos(), int(m_available));
        else
            m_bytes = device->peek(std::min(m_available, FirstWindow));
    }

    const QByteArray &getBytes() const { return m_bytes; }

    bool grow()
    {
        if (m_bytes.size() >= m_available)
            return false;
        const qint64 wanted = std::min(m_available, std::max(FirstWindow, qint64(m_bytes.size()) * 4));
        const int before = m_bytes.size();
        m_bytes = m_stream.device()->peek(wanted);
        return m_bytes.size() > before;
    }

private:
    QDataStream &m_stream;
    QByteArray m_bytes;
    qint64 m_available = 0;
};

/// Walks with `walk` over the window, growing it as long as that helps. False turns the stream bad.
template <class Walk>
bool walkWindow(QDataStream &stream, Window &window, Walk walk)
{
    if (stream.status() != QDataStream::Ok)
        return false;
    for (;;) {
        WireCursor cursor(window.getBytes().constData(), window.getBytes().size(), stream);
        if (walk(cursor))
            return true;
        if (cursor.getState() == WireCursor::State::PastEnd && window.grow())
            continue;
        stream.setStatus(cursor.getState() == WireCursor::State::PastEnd ? QDataStream::ReadPastEnd
                                                                         : QDataStream::ReadCorruptData);
        return false;
    }
}

/// Values hold entries by pointer, so a ring of them would be written without end.
class Writing
{
public:
    explicit Writing(const DataEntry &entry)
        : m_levelsLeft(WireCursor::MaximumDepth - LevelsOfEntry * int(open().size()))
    {
        m_good = m_levelsLeft > 0 && std::find(open().begin(), open().end(), &entry) == open().end();
        open().push_back(&entry);
    }
    Writing(const Writing &) = delete;
    Writing &operator=(const Writing &) = delete;
    ~Writing() { open().pop_back(); }

    explicit operator bool() const { return m_good; }
    int getLevelsLeft() const { return m_levelsLeft; }

private:
    static constexpr int LevelsOfEntry = 2; // the value that holds it and itself

    /// The entries that this thread is writing, each held by the one before.
    static std::vector<const DataEntry *> &open()
    {
        static thread_local std::vector<const DataEntry *> entries;
        return entries;
    }

    const int m_levelsLeft;
    bool m_good = false;
};

bool isDefaultFormat(const QDataStream &stream)
{
    return stream.byteOrder() == QDataStream::BigEndian && stream.version() >= QDataStream::Qt_5_2;
}

} // namespace

void EntryStream::Write(QDataStream &stream, const DataEntry &entry)
{
    const Writing writing(entry);
    if (!writing) {
        qCWarning(libraryLog, "DataEntry() cannot stream an entry that holds itself or lies too deep guid=%s",
                  qUtf8Printable(entry.m_guid));
        WriteNull(stream);
        return;
    }
    const bool defaultFormat = isDefaultFormat(stream);
    const auto writeEncoded = [&](const QByteArray &bytes) { stream.writeRawData(bytes.constData(), bytes.size()); };
    stream << entry.m_guid << qint64(entry.m_propertyNames.size());
    for (const QString &name : entry.m_propertyNames) {
        const auto property = entry.m_properties.constFind(name);
        const DataEntryProperty::Traits &traits = *property->m_traits;
        if (defaultFormat)
            writeEncoded(traits.encoded().head);
        else
            stream << name;
        if (IsStreamable(property->m_value, writing.getLevelsLeft())) {
            stream << property->m_value;
        } else {
            qCWarning(libraryLog, "DataEntry() cannot stream the value of property=%s data type=%s",
                      qUtf8Printable(name), property->m_value.typeName());
            stream << QVariant();
        }
        if (defaultFormat)
            writeEncoded(traits.encoded().tail);
        else
            stream << traits.searchable << traits.icon << traits.description;
    }
}

bool EntryStream::Read(QDataStream &stream, DataEntry &entry)
{
    Window window(stream);
    Head head;
    qint64 begin = 0;
    qint64 end = 0;
    const bool good = walkWindow(stream, window, [&](WireCursor &cursor) {
        if (!readHead(cursor, head))
            return false;
        begin = cursor.getPosition();
        const bool walked = head.guid != entry.m_guid || skipRecords(cursor, head.count);
        end = cursor.getPosition();
        return walked;
    });
    if (!good)
        return false;
    WireCursor cursor(window.getBytes().constData() + begin, end - begin, stream);
    if (head.guid == entry.m_guid)
        TakeRecords(cursor, head.count, stream, entry);
    stream.skipRawData(int(end));
    return !head.isNull();
}

void EntryStream::TakeRecords(WireCursor &cursor, qint64 count, const QDataStream &format, DataEntry &entry)
{
    for (qint64 i = 0; i < count; ++i) {
        // Whoever wrote it had, most likely, the same properties in the same order.
        QString name = i < entry.m_propertyNames.size() ? entry.m_propertyNames.at(int(i)) : QString();
        if (!name.isEmpty() && cursor.startsWithString(name))
            cursor.skipString();
        else
            cursor.read(name);
        const auto property = entry.m_properties.constFind(name);
        if (property != entry.m_properties.constEnd())
            property->setValue(ReadVariant(cursor, format));
        else
            cursor.skipVariant();
        skipTraits(cursor);
    }
}

bool EntryStream::Take(WireCursor &cursor, const QDataStream &format, DataEntry &entry)
{
    const WireCursor::Level level(cursor);
    Head head;
    if (!level || !readHead(cursor, head) || head.isNull())
        return false;
    TakeRecords(cursor, head.count, format, entry);
    return true;
}

DataEntryPtr EntryStream::ReadAny(QDataStream &stream)
{
    Window window(stream);
    Head head;
    qint64 begin = 0;
    qint64 end = 0;
    const bool good = walkWindow(stream, window, [&](WireCursor &cursor) {
        if (!readHead(cursor, head))
            return false;
        begin = cursor.getPosition();
        const bool walked = skipRecords(cursor, head.count);
        end = cursor.getPosition();
        return walked;
    });
    if (!good)
        return nullptr;
    const WireCursor records(window.getBytes().constData() + begin, end - begin, stream);
    DataEntryPtr entry = CreateRegisteredEntry(head.guid);
    if (!entry && !head.guid.isEmpty()) {
        QList<DataEntryProperty> properties;
        WireCursor cursor = records;
        for (qint64 i = 0; i < head.count; ++i) {
            QString name, description;
            quint8 isSearchable = 0;
            cursor.read(name);
            cursor.skipVariant();
            cursor.read(isSearchable);
            cursor.skipIcon();
            cursor.read(description);
            properties.append(DataEntryProperty(name, {}, isSearchable != 0, {}, description, {}));
        }
        entry = std::make_shared<DataEntry>(head.guid, properties);
    }
    WireCursor cursor = records;
    if (entry)
        TakeRecords(cursor, head.count, stream, *entry);
    stream.skipRawData(int(end));
    return entry;
}

void EntryStream::WriteNull(QDataStream &stream)
{
    stream << QString() << qint64(0);
}

bool EntryStream::Skip(WireCursor &cursor, const QString &guid)
{
    const WireCursor::Level level(cursor);
    Head head;
    if (!level || !readHead(cursor, head))
        return false;
    if (!head.isNull() && !guid.isEmpty() && head.guid != guid)
        return cursor.fail();
    return skipRecords(cursor, head.count);
}

QDataStream &operator<<(QDataStream &stream, const DataEntry &entry)
{
    EntryStream::Write(stream, entry);
    return stream;
}

QDataStream &operator>>(QDataStream &stream, DataEntry &entry)
{
    EntryStream::Read(stream, entry);
    return stream;
}

QDataStream &operator<<(QDataStream &stream, const DataEntryConstPtr &entry)
{
    if (entry)
        EntryStream::Write(stream, *entry);
    else
        EntryStream::WriteNull(stream);
    return stream;
}

QDataStream &operator>>(QDataStream &stream, DataEntryConstPtr &entry)
{
    entry = EntryStream::ReadAny(stream);
    return stream;
}

QDataStream &operator<<(QDataStream &stream, const DataEntryPtr &entry)
{
    return stream << DataEntryConstPtr(entry);
}

QDataStream &operator>>(QDataStream &stream, DataEntryPtr &entry)
{
    entry = EntryStream::ReadAny(stream);
    return stream;
}

} // namespace CommonNOX
