#include "benchmarks/paired.h"
#include "benchmarks/pulses.h"

#include "entries/catalogue/results_pd.h"
#include "entries/entry_stream.h"

#include <benchmark/benchmark.h>

#include <QBuffer>
#include <QDataStream>

#include <stdexcept>

namespace Bench
{

using CommonNOX::DataEntry;
using CommonNOX::DataEntryProperty;

namespace
{

constexpr int StreamedPeaks = 10'000;

void writePeakFields(QDataStream &stream, const PeakVector &peaks)
{
    stream << quint32(peaks.size());
    for (const PeakData &peak : peaks)
        stream << peak.amplitude << peak.voltage << peak.time << peak.flags;
}

void readPeakFields(QDataStream &stream, PeakVector &peaks)
{
    quint32 count = 0;
    stream >> count;
    peaks.resize(int(count));
    for (PeakData &peak : peaks)
        stream >> peak.amplitude >> peak.voltage >> peak.time >> peak.flags;
}

/// A property as plain code would keep it.
struct PlainRecord
{
    QString name;
    QVariant value;
    bool searchable = false;
    QIcon icon;
    QString description;
};

struct PlainEntry
{
    QString guid;
    QVector<PlainRecord> records;
};

void writePlain(QDataStream &stream, const PlainEntry &entry)
{
    stream << entry.guid << qint64(entry.records.size());
    for (const PlainRecord &record : entry.records)
        stream << record.name << record.value << record.searchable << record.icon << record.description;
}

void readPlain(QDataStream &stream, PlainEntry &entry)
{
    qint64 count = 0;
    stream >> entry.guid >> count;
    entry.records.resize(int(count));
    for (PlainRecord &record : entry.records)
        stream >> record.name >> record.value >> record.searchable >> record.icon >> record.description;
}

PlainEntry makePlain(const DataEntry &entry)
{
    PlainEntry plain{entry.getGuid(), {}};
    for (const QString &name : entry.getPropertyNames()) {
        const DataEntryProperty property = entry.getProperty(name);
        plain.records.append(
            {name, property.getValue(), property.isSearchable(), property.getIcon(), property.getDescription()});
    }
    return plain;
}

template <class Write>
QByteArray written(Write write)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    write(stream);
    return bytes;
}

/// Into the same memory again and again, so that the device's own growing counts for neither side.
template <class Write>
Work writing(Write write)
{
    const auto buffer = std::make_shared<QBuffer>();
    buffer->open(QIODevice::ReadWrite);
    return {[buffer, write] {
        buffer->seek(0);
        QDataStream stream(buffer.get());
        write(stream);
        benchmark::DoNotOptimize(buffer->buffer().constData());
    }};
}

/// Into a fresh `Value` each time.
template <class Value, class Read>
Work reading(const QByteArray &bytes, Read read)
{
    return {[bytes, read] {
        QDataStream stream(bytes);
        Value value;
        read(stream, value);
        benchmark::DoNotOptimize(&value);
    }};
}

template <class Bulk, class Plain>
QByteArray sameBytes(Bulk bulk, Plain plain)
{
    const QByteArray bytes = written(bulk);
    if (bytes != written(plain))
        throw std::runtime_error("bytes differ");
    return bytes;
}

Contest writePeaks()
{
    const PeakVector peaks = MakePeaks(StreamedPeaks);
    const auto bulk = [peaks](QDataStream &stream) { stream << peaks; };
    const auto fields = [peaks](QDataStream &stream) { writePeakFields(stream, peaks); };
    sameBytes(bulk, fields);
    return {writing(bulk), writing(fields)};
}

Contest readPeaks()
{
    const PeakVector peaks = MakePeaks(StreamedPeaks);
    const QByteArray bytes = written([&](QDataStream &stream) { stream << peaks; });
    PeakVector bulk, fields;
    QDataStream bulkStream(bytes), fieldStream(bytes);
    bulkStream >> bulk;
    readPeakFields(fieldStream, fields);
    if (bulk != peaks || fields != peaks)
        throw std::runtime_error("peaks differ");
    return {reading<PeakVector>(bytes, [](QDataStream &from, PeakVector &to) { from >> to; }),
            reading<PeakVector>(bytes, readPeakFields)};
}

Contest writeEntry()
{
    const auto entry = MakePeriodEntry({});
    const auto compact = [entry](QDataStream &stream) { stream << static_cast<const DataEntry &>(*entry); };
    const auto plain = [record = makePlain(*entry)](QDataStream &stream) { writePlain(stream, record); };
    sameBytes(compact, plain);
    return {writing(compact), writing(plain)};
}

Contest readEntry()
{
    const auto entry = MakePeriodEntry({});
    const QByteArray bytes = written([&](QDataStream &stream) { stream << static_cast<const DataEntry &>(*entry); });
    const auto read = [](QDataStream &from, PeriodV2 &to) { from >> static_cast<DataEntry &>(to); };
    return {reading<PeriodV2>(bytes, read), reading<PlainEntry>(bytes, readPlain)};
}

} // namespace

std::vector<Pair> StreamPairs()
{
    const auto atMost = [](double ratio) { return Limit{Limit::Kind::TimeAtMost, ratio}; };
    return {
        {"stream: write 10000 peaks / field by field", atMost(1.0 / 30), writePeaks},
        {"stream: read 10000 peaks / field by field", atMost(1.0 / 25), readPeaks},
        {"stream: write entry of 18 properties / plain operators", atMost(0.65), writeEntry},
        {"stream: read entry of 18 properties / plain operators", atMost(1.1), readEntry},
    };
}

} // namespace Bench
