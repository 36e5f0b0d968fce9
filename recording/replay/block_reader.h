#pragma once

#include "entries/data_entry.h"
#include "nox_export.h"
#include "platform/storage/storage_reader.h"

#include <memory>
#include <vector>

namespace CommonNOX::Entries::Results::Space2D
{
class PeriodBlockV1;
class PeriodV2;
} // namespace CommonNOX::Entries::Results::Space2D

namespace CommonNOX::Importer
{

using PeriodBlockConstPtr = std::shared_ptr<const Entries::Results::Space2D::PeriodBlockV1>;

/// The entry of a row; null when the row is missing or damaged, or its bytes are no entry.
NOX_EXPORT DataEntryConstPtr ReadEntry(const FrameworkCore::AppData::Storage::StorageReader &reader, qint64 row);
/// As ReadEntry(), for an entry of this class.
NOX_EXPORT PeriodBlockConstPtr ReadBlock(const FrameworkCore::AppData::Storage::StorageReader &reader, qint64 row);

NOX_EXPORT quint32 CountPeriods(const Entries::Results::Space2D::PeriodBlockV1 &block);
/// Null beyond the end.
NOX_EXPORT DataEntryConstPtr PeriodOf(const Entries::Results::Space2D::PeriodBlockV1 &block, quint32 offset);

/// The periods of a block that nobody else holds; null for what is no period.
std::vector<std::shared_ptr<Entries::Results::Space2D::PeriodV2>>
TakePeriods(const Entries::Results::Space2D::PeriodBlockV1 &block);

} // namespace CommonNOX::Importer
