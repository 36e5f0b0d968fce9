#pragma once

#include "entries/data_entry.h"
#include "entries/entry_stream.h"
#include "nox_export.h"
#include "platform/data_repository.h"

namespace CommonNOX
{

namespace Detail
{
/// The stream form of the entry; logs and gives an empty array when there is none.
NOX_EXPORT QByteArray EntryToRawData(const DataEntryConstPtr &entry, const QVariant &source);
NOX_EXPORT void RawDataToEntry(const QByteArray &rawData, DataEntry &entry);
} // namespace Detail

/// Converts entries of class Entry to bytes and back, for the host's repository. Holds no state; any thread.
template <class Entry, class Base = DataEntry>
class DataEntryParser final : public FrameworkCore::AppData::Interfaces::DataElementParserInterface
{
public:
    /// Takes a pointer to (constant) Entry, an Entry, or a general entry pointer. A null pointer is not taken.
    QByteArray convertToRawData(const std::shared_ptr<const QVariant> &element) const override
    {
        if (!element)
            return {};
        return Detail::EntryToRawData(view(*element), *element);
    }

    /// A variant of a pointer to a new Entry; what cannot be read stays at its default.
    std::shared_ptr<QVariant> parse(const QByteArray &rawData) const override
    {
        auto entry = std::make_shared<Entry>();
        Detail::RawDataToEntry(rawData, *entry);
        return std::make_shared<QVariant>(QVariant::fromValue(entry));
    }

private:
    static std::shared_ptr<const Base> view(const QVariant &element)
    {
        const int type = element.userType();
        if (type == qMetaTypeId<std::shared_ptr<const Entry>>())
            return element.value<std::shared_ptr<const Entry>>();
        if (type == qMetaTypeId<std::shared_ptr<Entry>>())
            return element.value<std::shared_ptr<Entry>>();
        if (type == qMetaTypeId<Entry>())
            return std::make_shared<const Entry>(element.value<Entry>());
        return DataEntryFromVariant(element);
    }
};

} // namespace CommonNOX
