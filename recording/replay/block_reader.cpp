#include "recording/replay/block_reader.h"

#include "entries/catalogue/results_pd.h"
#include "entries/property_keys.h"
#include "platform/storage/element_loader.h"

namespace CommonNOX::Importer
{

using namespace FrameworkCore::AppData::Storage;
using Entries::Results::Space2D::PeriodBlockV1;
namespace Keys = Entries::Keys;

DataEntryConstPtr ReadEntry(const StorageReader &reader, qint64 row)
{
    StoredRow stored;
    if (reader.read(row, stored) != StorageReader::Outcome::Found)
        return nullptr;
    const auto value = ParseRow(reader, stored);
    return value ? DataEntryFromVariant(*value) : nullptr;
}

PeriodBlockConstPtr ReadBlock(const StorageReader &reader, qint64 row)
{
    return std::dynamic_pointer_cast<const PeriodBlockV1>(ReadEntry(reader, row));
}

quint32 CountPeriods(const PeriodBlockV1 &block)
{
    return quint32(block.get(Keys::Periods).toList().size());
}

DataEntryConstPtr PeriodOf(const PeriodBlockV1 &block, quint32 offset)
{
    const QVariantList periods = block.get(Keys::Periods).toList();
    return offset < quint32(periods.size()) ? DataEntryFromVariant(periods[int(offset)]) : nullptr;
}

} // namespace CommonNOX::Importer
