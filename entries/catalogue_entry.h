#pragma once

#include "entries/data_entry.h"
#include "entries/property_key.h"
#include "nox_export.h"

#include <vector>

namespace CommonNOX
{

/// What identifies an entry class. Stored data is found by it: never change one.
struct EntryIdentity
{
    const char *category;
    const char *version;
    const char *guid;
};

/// The text of a value, with its unit.
using ValueFormatter = QString (*)(const QVariant &value);

/// One property of an entry class.
struct PropertyRow
{
    PropertyKey key;
    QVariant defaultValue; ///< fixes the type of the value
    bool searchable;
    const char *icon;  ///< below ":/CommonNOX/Entries/", without ".svg"
    const char *label; ///< marked for translation in the context "CommonNOX::Entries"
    ValueFormatter format = nullptr;
};

using PropertyTable = std::vector<PropertyRow>;

namespace Detail
{

/// An entry with all properties of the table, their icons and their translated descriptions.
NOX_EXPORT DataEntry MakePrototype(const EntryIdentity &identity, const PropertyTable &table);
/// By the property's formatter, else the value as text.
NOX_EXPORT QString FormatByTable(const PropertyTable &table, const DataEntryConstPtr &entry, const QString &name);

} // namespace Detail

/// Everything that entry classes share. A class adds its `Identity`, its table `Properties()` and, where it has
/// rules of its own, operations that hide the ones here.
template <class Entry>
class CatalogueEntry : public DataEntry
{
public:
    static QString Category() { return QString::fromLatin1(Entry::Identity.category); }
    static QString Guid() { return QString::fromLatin1(Entry::Identity.guid); }
    static QString Version() { return QString::fromLatin1(Entry::Identity.version); }

    static QString FormatProperty(const DataEntryConstPtr &entry, const QString &name)
    {
        return Detail::FormatByTable(Entry::Properties(), entry, name);
    }

protected:
    CatalogueEntry() : DataEntry(Prototype()) {}
    CatalogueEntry(const CatalogueEntry &) = default;
    CatalogueEntry &operator=(const CatalogueEntry &) = default;
    ~CatalogueEntry() override = default;

private:
    /// Built once; every new entry is a copy of it.
    static const DataEntry &Prototype()
    {
        static const DataEntry prototype = Detail::MakePrototype(Entry::Identity, Entry::Properties());
        return prototype;
    }
};

} // namespace CommonNOX
