#include "entries/catalogue/cable.h"
#include "entries/catalogue/results_pd.h"
#include "entries/entry_stream.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace CommonNOX;

namespace
{

// A failed property must stop the fuzzer in every build type.
void require(bool holds)
{
    if (!holds)
        std::abort();
}

QByteArray written(const DataEntry &entry)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << entry;
    require(stream.status() == QDataStream::Ok);
    return bytes;
}

/// A hash gives its pairs back in another order, so the order of the bytes is not looked at.
QByteArray sorted(QByteArray bytes)
{
    std::sort(bytes.begin(), bytes.end());
    return bytes;
}

void requireStable(const DataEntry &entry, DataEntry &&again)
{
    const QByteArray bytes = written(entry);
    QDataStream stream(bytes);
    stream >> again;
    require(stream.status() == QDataStream::Ok && stream.atEnd());
    require(sorted(written(again)) == sorted(bytes));
}

template <class Entry>
void readAs(const QByteArray &bytes)
{
    static const QByteArray defaults = written(Entry());
    Entry entry;
    QDataStream stream(bytes);
    stream >> entry;
    if (stream.status() == QDataStream::Ok)
        requireStable(entry, Entry());
    else
        require(stream.device()->pos() == 0 && written(entry) == defaults);
}

void readAny(const QByteArray &bytes, QDataStream::ByteOrder order)
{
    QDataStream stream(bytes);
    stream.setByteOrder(order);
    const DataEntryPtr entry = EntryStream::ReadAny(stream);
    if (stream.status() != QDataStream::Ok)
        require(!entry && stream.device()->pos() == 0);
    else if (entry)
        requireStable(*entry, DataEntry(*entry));
}

} // namespace

/// Whatever reads as good is written and reads back equal; whatever does not leaves everything as it was.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool quiet = [] {
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
        return true;
    }();
    Q_UNUSED(quiet)
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), int(size));
    readAs<Entries::Results::Space2D::PeriodV2>(bytes);
    readAs<Entries::Cable::CableV1>(bytes);
    readAny(bytes, QDataStream::BigEndian);
    readAny(bytes, QDataStream::LittleEndian);
    return 0;
}
