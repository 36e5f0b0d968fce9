#include "platform/storage/element_loader.h"

#include "platform/data_repository.h"

#include <QHash>
#include <QStringList>

#include <algorithm>
#include <mutex>

namespace FrameworkCore::AppData::Storage
{

namespace
{

struct Packing
{
    int recordSize;
    PackedElementMaker maker;
};

struct Packings
{
    std::mutex mutex;
    QHash<QString, Packing> byType;
};

Packings &packings()
{
    static Packings instance;
    return instance;
}

PackedElementMaker findMaker(const EntryKind &kind)
{
    Packings &known = packings();
    const std::lock_guard guard(known.mutex);
    const auto found = known.byType.constFind(kind.type);
    return found != known.byType.constEnd() && found->recordSize == kind.recordSize ? found->maker
                                                                                    : PackedElementMaker();
}

} // namespace

bool RegisterPackedElements(const QString &type, int recordSize, const PackedElementMaker &maker)
{
    Packings &known = packings();
    const std::lock_guard guard(known.mutex);
    if (recordSize <= 0 || known.byType.contains(type))
        return false;
    known.byType.insert(type, {recordSize, maker});
    return true;
}

LoadedElement LoadElement(const StorageReader &reader, const QString &uuid)
{
    LoadedElement element;
    const auto place = reader.getUuids().toPlace(uuid);
    if (!place)
        return element;
    StoredRow row;
    if (place->kind == 0) {
        element.outcome = reader.read(place->number, row);
        if (const EntryKind *kind = reader.getKind(row.kind))
            element.kind = *kind;
        if (element.outcome == StorageReader::Outcome::Found)
            element.value = ParseRow(reader, row);
        return element;
    }
    const EntryKind *kind = reader.getKind(place->kind);
    if (!kind || kind->recordSize == 0)
        return element;
    element.kind = *kind;
    const RowPlace run = reader.findRowAtOrBefore(place->kind, place->number);
    if (run.id == 0)
        return element;
    element.outcome = reader.read(run.id, row);
    if (element.outcome != StorageReader::Outcome::Found)
        return element;
    const qint64 offset = place->number - run.number;
    const PackedElementMaker maker = findMaker(*kind);
    if (offset >= row.data.size() / kind->recordSize)
        element.outcome = StorageReader::Outcome::Missing;
    else if (maker)
        element.value =
            maker(reader, place->kind, place->number, row.data.constData() + offset * qint64(kind->recordSize));
    return element;
}

std::shared_ptr<QVariant> ParseRow(const StorageReader &reader, const StoredRow &row)
{
    const EntryKind *kind = reader.getKind(row.kind);
    if (!kind || kind->recordSize != 0)
        return nullptr;
    const auto parser = Utilities::GetAppDataRepositoryInterface()->createParser(kind->type);
    return parser ? parser->parse(row.data) : nullptr;
}

QStringList ListElements(const StorageReader &reader, const QString &type, const QString &category)
{
    QStringList uuids;
    for (const int number : reader.findKinds(type, category)) {
        std::vector<RowPlace> places = reader.listRows(number);
        std::sort(places.begin(), places.end(), [](const auto &a, const auto &b) { return a.id < b.id; });
        const int recordSize = reader.getKind(number)->recordSize;
        for (const RowPlace &place : places) {
            if (recordSize == 0) {
                uuids.append(reader.getUuids().toUuid({0, place.id}));
                continue;
            }
            StoredRow row;
            if (reader.read(place.id, row) != StorageReader::Outcome::Found)
                continue;
            for (qint64 i = 0; i < row.data.size() / recordSize; ++i)
                uuids.append(reader.getUuids().toUuid({number, place.number + i}));
        }
    }
    return uuids;
}

} // namespace FrameworkCore::AppData::Storage
