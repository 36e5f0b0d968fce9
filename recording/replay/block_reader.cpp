#include "recording/replay/block_reader.h"

#include "entries/catalogue/results_pd.h"
#include "entries/property_keys.h"
#include "platform/storage/element_loader.h"

namespace CommonNOX::Importer
{

using namespace FrameworkCore::AppData::Storage;
using namespace Entries::Results::Space2D;
namespace Keys = Entries::Keys;

DataEntryConstPtr ReadEntry(const StorageReader &reader, qint64 row)
{
    std::shared_ptr<QVariant> value;
    reader.look(row, [&](const StoredRow &stored) { value = ParseRow(reader, stored); });
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

std::vector<std::shared_ptr<PeriodV2>> TakePeriods(const PeriodBlockV1 &block)
{
    const QVariantList values = block.get(Keys::Periods).toList();
    std::vector<std::shared_ptr<PeriodV2>> periods;
    periods.reserve(std::size_t(values.size()));
    for (const QVariant &value : values)
        periods.push_back(
            std::const_pointer_cast<PeriodV2>(std::dynamic_pointer_cast<const PeriodV2>(DataEntryFromVariant(value))));
    return periods;
}

} // namespace CommonNOX::Importer
