#include "entries/entry_stream.h"

#include "entries/data_entry_property_p.h"
#include "entries/entry_registration.h"
#include "entries/log.h"

#include <QBuffer>
#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

namespace CommonNOX
{

namespace
{

// A record is at least a name, a value, a flag, an icon and a description.
constexpr qint64 SmallestRecord = 4 + 5 + 1 + 4 + 4;
constexpr qint64 FirstWindow = 64 * 1024;

/// One property as it stands in the checked bytes.
struct Record
{
    qint64 nameBegin = 0;
    qint64 valueBegin = 0;
    qint64 valueEnd = 0;
    bool searchable = false;
    qint64 descriptionBegin = 0;
};

struct EntryBytes
{
    QString guid;
    qint64 count = 0;
    qint64 headEnd = 0;
    std::vector<Record> records;

    bool isNull() const { return guid.isEmpty() && count == 0; }
};

bool skipRecord(WireCursor &cursor, Record &record)
{
    quint8 searchable = 0;
    record.nameBegin = cursor.getPosition();
    if (!cursor.skipString())
        return false;
    record.valueBegin = cursor.getPosition();
    if (!cursor.skipVariant())
        return false;
    record.valueEnd = cursor.getPosition();
    if (!cursor.read(searchable) || !cursor.skipIcon())
        return false;
    record.searchable = searchable != 0;
    record.descriptionBegin = cursor.getPosition();
    return cursor.skipString();
}

bool readHead(WireCursor &cursor, EntryBytes &entry)
{
    if (!cursor.read(entry.guid) || !cursor.read(entry.count))
        return false;
    entry.headEnd = cursor.getPosition();
    return true;
}

bool checkCount(WireCursor &cursor, qint64 count)
{
    if (count < 0)
        return cursor.fail();
    return count <= cursor.getRemaining() / SmallestRecord || cursor.fail(WireCursor::State::PastEnd);
}

bool readRecords(WireCursor &cursor, EntryBytes &entry)
{
    if (!checkCount(cursor, entry.count))
        return false;
    entry.records.resize(std::size_t(entry.count));
    for (Record &record : entry.records) {
        if (!skipRecord(cursor, record))
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

void copyFormat(const QDataStream &from, QDataStream &to)
{
    to.setVersion(from.version());
    to.setByteOrder(from.byteOrder());
    to.setFloatingPointPrecision(from.floatingPointPrecision());
}

/// The common values without a detour through a stream; anything else gives an invalid variant.
QVariant decodeNumber(const char *data, qint64 size, const WireCursor &format)
{
    if (!format.isBigEndian() || format.getRealSize() != 8 || data[4] != 0)
        return {};
    const char *payload = data + 5;
    switch (qFromBigEndian<quint32>(data)) {
    case QMetaType::Bool:
        return QVariant(*payload != 0);
    case QMetaType::Int:
        return QVariant(qFromBigEndian<qint32>(payload));
    case QMetaType::UInt:
        return QVariant(qFromBigEndian<quint32>(payload));
    case QMetaType::LongLong:
        return QVariant(qFromBigEndian<qint64>(payload));
    case QMetaType::ULongLong:
        return QVariant(qFromBigEndian<quint64>(payload));
    case QMetaType::Double: {
        const quint64 bits = qFromBigEndian<quint64>(payload);
        double value = 0.0;
        std::memcpy(&value, &bits, sizeof value);
        return size == 13 ? QVariant(value) : QVariant();
    }
    default:
        return {};
    }
}

QVariant decodeValue(const QDataStream &format, const QByteArray &bytes, const Record &record)
{
    const char *data = bytes.constData() + record.valueBegin;
    const qint64 size = record.valueEnd - record.valueBegin;
    const QVariant number = decodeNumber(data, size, WireCursor(data, size, format));
    if (number.isValid())
        return number;
    QVariant value;
    QDataStream stream(QByteArray::fromRawData(data, int(size)));
    copyFormat(format, stream);
    stream >> value;
    return value;
}

QString decodeText(const QDataStream &format, const QByteArray &bytes, qint64 begin)
{
    WireCursor cursor(bytes.constData() + begin, bytes.size() - begin, format);
    QString text;
    cursor.read(text);
    return text;
}

bool isText(const QDataStream &format, const QByteArray &bytes, qint64 begin, const QString &text)
{
    return WireCursor(bytes.constData() + begin, bytes.size() - begin, format).startsWithString(text);
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
    EntryBytes found;
    qint64 end = 0;
    const bool good = walkWindow(stream, window, [&](WireCursor &cursor) {
        found = {};
        const bool walked = readHead(cursor, found) && (found.guid != entry.m_guid || readRecords(cursor, found));
        end = cursor.getPosition();
        return walked;
    });
    if (!good)
        return false;
    TakeValues(stream, window.getBytes(), found.records, entry);
    stream.skipRawData(int(end));
    return !found.isNull();
}

template <class Records>
void EntryStream::TakeValues(const QDataStream &format, const QByteArray &bytes, const Records &records,
                             DataEntry &entry)
{
    for (std::size_t i = 0; i < records.size(); ++i) {
        // Whoever wrote it had, most likely, the same properties in the same order.
        const QString expected = entry.m_propertyNames.value(int(i));
        const bool isExpected = !expected.isEmpty() && isText(format, bytes, records[i].nameBegin, expected);
        const auto property =
            entry.m_properties.find(isExpected ? expected : decodeText(format, bytes, records[i].nameBegin));
        if (property != entry.m_properties.end())
            property->setValue(decodeValue(format, bytes, records[i]));
    }
}

DataEntryPtr EntryStream::ReadAny(QDataStream &stream)
{
    Window window(stream);
    EntryBytes found;
    qint64 end = 0;
    const bool good = walkWindow(stream, window, [&](WireCursor &cursor) {
        found = {};
        const bool walked = readHead(cursor, found) && readRecords(cursor, found);
        end = cursor.getPosition();
        return walked;
    });
    if (!good)
        return nullptr;
    DataEntryPtr entry = CreateRegisteredEntry(found.guid);
    if (!entry && !found.guid.isEmpty()) {
        QList<DataEntryProperty> properties;
        for (const Record &record : found.records)
            properties.append(DataEntryProperty(decodeText(stream, window.getBytes(), record.nameBegin), {},
                                                record.searchable, {},
                                                decodeText(stream, window.getBytes(), record.descriptionBegin), {}));
        entry = std::make_shared<DataEntry>(found.guid, properties);
    }
    if (entry)
        TakeValues(stream, window.getBytes(), found.records, *entry);
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
    EntryBytes entry;
    if (!level || !readHead(cursor, entry) || !checkCount(cursor, entry.count))
        return false;
    if (!entry.isNull() && !guid.isEmpty() && entry.guid != guid)
        return cursor.fail();
    Record record;
    for (qint64 i = 0; i < entry.count; ++i) {
        if (!skipRecord(cursor, record))
            return false;
    }
    return true;
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
