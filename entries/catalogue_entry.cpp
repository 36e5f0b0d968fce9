#include "entries/catalogue_entry.h"

#include "entries/icon_engine.h"

#include <QCoreApplication>

#include <algorithm>

namespace CommonNOX::Detail
{

namespace
{

/// Makes properties as only entry classes may.
class Prototype : public DataEntry
{
public:
    static DataEntryProperty customize(const PropertyRow &row)
    {
        const QString icon = QStringLiteral(":/CommonNOX/Entries/%1.svg").arg(QString::fromLatin1(row.icon));
        const char *label = row.label;
        const auto translate = [label] { return QCoreApplication::translate("CommonNOX::Entries", label); };
        return MakeProperty(row.key, row.defaultValue, row.searchable, MakeResourceIcon(icon), QString::fromUtf8(label),
                            translate);
    }
};

} // namespace

DataEntry MakePrototype(const EntryIdentity &identity, const PropertyTable &table)
{
    QList<DataEntryProperty> properties;
    for (const PropertyRow &row : table)
        properties.append(Prototype::customize(row));
    return DataEntry(QString::fromLatin1(identity.guid), properties);
}

QString FormatByTable(const PropertyTable &table, const DataEntryConstPtr &entry, const QString &name)
{
    const auto row = std::find_if(table.begin(), table.end(),
                                  [&](const PropertyRow &candidate) { return candidate.key.toString() == name; });
    const bool hasFormatter = entry && row != table.end() && row->format;
    return hasFormatter ? row->format(entry->get(name)) : DataEntry::FormatProperty(entry, name);
}

} // namespace CommonNOX::Detail
