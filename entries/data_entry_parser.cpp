#include "entries/data_entry_parser.h"

#include "entries/log.h"

namespace CommonNOX::Detail
{

QByteArray EntryToRawData(const DataEntryConstPtr &entry, const QVariant &source)
{
    QByteArray rawData;
    if (!entry) {
        qCCritical(libraryLog,
                   "DataEntryParser::convertToRawData() failed to convert parsed data, received invalid data type=%s",
                   source.typeName());
        return rawData;
    }
    QDataStream stream(&rawData, QIODevice::ReadWrite);
    stream << *entry;
    return rawData;
}

void RawDataToEntry(const QByteArray &rawData, DataEntry &entry)
{
    // The status is not looked at on purpose: a stored element of another class or a damaged one reads as defaults.
    QDataStream stream(rawData);
    stream >> entry;
}

} // namespace CommonNOX::Detail
