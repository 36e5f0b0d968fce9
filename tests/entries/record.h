#pragma once

#include "entries/data_entry.h"
#include "entries/entry_stream.h"

#include <QByteArray>
#include <QDataStream>
#include <QStringList>

#include <initializer_list>

/// An entry of whatever properties a test needs.
class Record : public CommonNOX::DataEntry
{
public:
    struct Row
    {
        const char *name;
        QVariant value;
        bool searchable = false;
        const char *description = "";
    };

    explicit Record(const QString &guid = QStringLiteral("{A}"), std::initializer_list<Row> rows = {})
        : DataEntry(guid, properties(rows))
    {}
    static CommonNOX::DataEntryProperty property(const Row &row)
    {
        return MakeProperty(QLatin1String(row.name), row.value, row.searchable, {}, QLatin1String(row.description), {});
    }
    using DataEntry::setProperty;

private:
    static QList<CommonNOX::DataEntryProperty> properties(std::initializer_list<Row> rows)
    {
        QList<CommonNOX::DataEntryProperty> list;
        for (const Row &row : rows)
            list.append(property(row));
        return list;
    }
};

/// The values one after another as a data stream writes them.
template <class... Values>
QByteArray wire(const Values &...values)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    (stream << ... << values);
    return bytes;
}
