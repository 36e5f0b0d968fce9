#pragma once

#include "entries/catalogue/replay_header.h"
#include "nox_export.h"
#include "platform/storage/storage_reader.h"

#include <memory>

namespace CommonNOX::Importer
{

/// The header of a recording; one of the first version is turned into one of the second. Null when there is none.
NOX_EXPORT std::shared_ptr<const Entries::Recording::PdReplayHeaderV2>
ReadHeader(const FrameworkCore::AppData::Storage::StorageReader &reader);

/// The second version of a header: the duration and what is said of channels goes to the properties of its name there.
NOX_EXPORT std::shared_ptr<Entries::Recording::PdReplayHeaderV2>
ConvertHeader(const Entries::Recording::PdReplayHeaderV1 &header);

} // namespace CommonNOX::Importer
