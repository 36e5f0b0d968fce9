#include "recording/replay/header_reader.h"

#include "entries/property_keys.h"
#include "recording/replay/block_reader.h"
#include "recording/replay_file.h"

#include <array>

namespace CommonNOX::Importer
{

using namespace Entries::Recording;
using namespace PD::Recording;
using FrameworkCore::AppData::Storage::StorageReader;
namespace Keys = Entries::Keys;

std::shared_ptr<PdReplayHeaderV2> ConvertHeader(const PdReplayHeaderV1 &header)
{
    static const QString PrefixOfChannels = QStringLiteral("PD_");
    const auto converted = std::make_shared<PdReplayHeaderV2>();
    for (const QString &name : header.getPropertyNames()) {
        const QVariant value = header.get(name);
        if (name == QString(Keys::PDDuration))
            converted->set(Keys::File_Duration, value);
        else if (!converted->set(name, value))
            converted->set(PrefixOfChannels + name, value);
    }
    return converted;
}

std::shared_ptr<const PdReplayHeaderV2> ReadHeader(const StorageReader &reader)
{
    // Of several, which nobody writes, the newest version counts.
    for (const QString &type : {TypeOf<PdReplayHeaderV2>(), TypeOf<PdReplayHeaderV1>()}) {
        for (const int kind : reader.findKinds(type, cstrHeaderEntryName)) {
            for (const auto &place : reader.listRows(kind)) {
                const DataEntryConstPtr entry = ReadEntry(reader, place.id);
                if (const auto header = std::dynamic_pointer_cast<const PdReplayHeaderV2>(entry))
                    return header;
                if (const auto header = std::dynamic_pointer_cast<const PdReplayHeaderV1>(entry))
                    return ConvertHeader(*header);
            }
        }
    }
    return nullptr;
}

} // namespace CommonNOX::Importer
