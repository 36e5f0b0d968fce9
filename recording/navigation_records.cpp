#include "recording/navigation_records.h"

#include "entries/property_keys.h"
#include "platform/storage/element_loader.h"
#include "recording/replay_file.h"

#include <QtEndian>

#include <array>
#include <bit>

namespace CommonNOX::PD::Recording
{

using namespace Entries::Recording;
namespace Keys = Entries::Keys;
using FrameworkCore::AppData::Storage::StorageReader;

namespace
{

/// Puts the fields of a record behind each other, and the record behind a run.
class RecordWriter
{
public:
    explicit RecordWriter(QByteArray &run) : m_run(run) {}
    RecordWriter(const RecordWriter &) = delete;
    RecordWriter &operator=(const RecordWriter &) = delete;
    ~RecordWriter() { m_run.append(m_bytes.data(), RecordSize); }

    template <class Integer>
    RecordWriter &operator<<(Integer value)
    {
        qToLittleEndian(value, m_bytes.data() + m_size);
        m_size += sizeof(Integer);
        return *this;
    }
    RecordWriter &operator<<(double value) { return *this << std::bit_cast<quint64>(value); }

private:
    QByteArray &m_run;
    std::array<char, RecordSize> m_bytes{};
    std::size_t m_size = 0;
};

class RecordReader
{
public:
    explicit RecordReader(const char *bytes) : m_place(bytes) {}

    template <class Integer>
    RecordReader &operator>>(Integer &value)
    {
        value = qFromLittleEndian<Integer>(m_place);
        m_place += sizeof(Integer);
        return *this;
    }
    RecordReader &operator>>(double &value)
    {
        quint64 bits;
        *this >> bits;
        value = std::bit_cast<double>(bits);
        return *this;
    }

private:
    const char *m_place;
};

template <class Entry>
std::shared_ptr<QVariant> wrap(const std::shared_ptr<Entry> &entry)
{
    return std::make_shared<QVariant>(QVariant::fromValue(entry));
}

std::shared_ptr<QVariant> makeTimeElement(const StorageReader &reader, int, qint64 number, const char *bytes)
{
    const TimeRecord record = ReadTimeRecord(bytes);
    const auto entry = std::make_shared<PdTimeNavigationElementV1>();
    entry->set(Keys::Index, qlonglong(number));
    entry->set(Keys::StartingSecond, qlonglong(record.startingSecond));
    entry->set(Keys::GlobalIndex, qlonglong(record.globalIndex));
    entry->set(Keys::PeriodBlockUuid, reader.getUuids().toUuid({0, qint64(record.block)}));
    entry->set(Keys::PeriodOffset, int(record.periodOffset));
    entry->set(Keys::Qiec, record.qiec);
    return wrap(entry);
}

std::shared_ptr<QVariant> makeGlobalElement(const StorageReader &reader, int, qint64, const char *bytes)
{
    const GlobalRecord record = ReadGlobalRecord(bytes);
    const auto entry = std::make_shared<PdGlobalNavigationElementV1>();
    entry->set(Keys::Type, int(record.type));
    entry->set(Keys::Classification, ToClassification(record.channel));
    if (record.type == PdGlobalNavigationType::RecordingStart)
        entry->set(Keys::Name, QString::number(record.value));
    if (record.entry != 0)
        entry->set(Keys::EntryUuid, reader.getUuids().toUuid({0, qint64(record.entry)}));
    if (record.elementKind != 0)
        entry->set(Keys::ElementUuid, reader.getUuids().toUuid({record.elementKind, qint64(record.element)}));
    return wrap(entry);
}

std::shared_ptr<QVariant> makeQtUtElement(const StorageReader &, int, qint64, const char *bytes)
{
    const QtUtRecord record = ReadQtUtRecord(bytes);
    const auto entry = std::make_shared<PdReplayQtUtOverviewV1>();
    entry->set(Keys::Voltage, record.voltage);
    entry->set(Keys::Qiec, record.qiec);
    entry->set(Keys::Timestamp, qlonglong(record.timestamp));
    entry->set(Keys::SampleRate, record.sampleRate);
    return wrap(entry);
}

/// While the library loads.
struct Registration
{
    Registration()
    {
        using namespace FrameworkCore::AppData::Storage;
        RegisterPackedElements(TypeOf<PdTimeNavigationElementV1>(), RecordSize, &makeTimeElement);
        RegisterPackedElements(TypeOf<PdGlobalNavigationElementV1>(), RecordSize, &makeGlobalElement);
        RegisterPackedElements(TypeOf<PdReplayQtUtOverviewV1>(), RecordSize, &makeQtUtElement);
    }
};

const Registration registration;

} // namespace

void AppendRecord(QByteArray &run, const TimeRecord &record)
{
    RecordWriter(run) << record.globalIndex << record.block << record.qiec << record.startingSecond
                      << record.periodOffset;
}

void AppendRecord(QByteArray &run, const GlobalRecord &record)
{
    RecordWriter(run) << quint16(record.type) << record.channel << record.elementKind << quint16(0) << record.entry
                      << record.element << record.value;
}

void AppendRecord(QByteArray &run, const QtUtRecord &record)
{
    RecordWriter(run) << record.voltage << record.qiec << record.timestamp << record.sampleRate << quint32(0);
}

TimeRecord ReadTimeRecord(const char *bytes)
{
    TimeRecord record;
    RecordReader(bytes) >> record.globalIndex >> record.block >> record.qiec >> record.startingSecond >>
        record.periodOffset;
    return record;
}

GlobalRecord ReadGlobalRecord(const char *bytes)
{
    GlobalRecord record;
    quint16 type = 0;
    quint16 unused = 0;
    RecordReader(bytes) >> type >> record.channel >> record.elementKind >> unused >> record.entry >> record.element >>
        record.value;
    record.type = PdGlobalNavigationType(type);
    return record;
}

QtUtRecord ReadQtUtRecord(const char *bytes)
{
    QtUtRecord record;
    RecordReader(bytes) >> record.voltage >> record.qiec >> record.timestamp >> record.sampleRate;
    return record;
}

} // namespace CommonNOX::PD::Recording
