#pragma once

#include "entries/data_entry.h"
#include "entries/data_entry_parser.h"
#include "entries/data_entry_register.h"
#include "entries/entry_stream.h"
#include "nox_export.h"

#include <QMetaType>

#include <functional>
#include <vector>

namespace CommonNOX
{

/// One registered entry class. Creators only: nothing of an entry exists before it is asked for.
struct EntryClassInformation
{
    QString category;
    QString version;
    QString guid;
    std::function<DataEntryPtr()> create;
    std::function<std::shared_ptr<const DataEntryRegister>(const DataEntryConstPtr &)> createRegister;
    FrameworkCore::AppData::Interfaces::DataRepositoryInterface::ParserCreator createParser;
};

/// All registered classes in order of registration. Filled while the library loads.
NOX_EXPORT const std::vector<EntryClassInformation> &RegisteredEntryClasses();
/// A new entry of the class, or null for an unknown guid.
NOX_EXPORT DataEntryPtr CreateRegisteredEntry(const QString &guid);

/// Makes a class known: to the data repository under "category_version", to DataEntryRegisterFactory under its GUID.
/// False when the GUID is taken; the first registration of a key wins.
NOX_EXPORT bool RegisterEntryClass(const EntryClassInformation &information);

namespace Detail
{

template <class From, class To, class Convert>
void RegisterConverter(Convert convert)
{
    if (!QMetaType::hasRegisteredConverterFunction<From, To>())
        QMetaType::registerConverter<From, To>(convert);
}

template <class Type>
void RegisterStreamedType(const QString &guid, const PayloadDecoder &decoder = {})
{
    const int type = qMetaTypeId<Type>();
    const QByteArray name = QMetaType::typeName(type);
    qRegisterMetaTypeStreamOperators<Type>(name.constData());
    RegisterPayloadSkipper(
        name, [guid](WireCursor &cursor) { return EntryStream::Skip(cursor, guid); }, decoder);
}

template <class Entry, class Ptr>
QVariant DecodePointer(WireCursor &cursor, const QDataStream &format)
{
    auto entry = std::make_shared<Entry>();
    const bool isEntry = EntryStream::Take(cursor, format, *entry);
    return QVariant::fromValue(isEntry ? Ptr(std::move(entry)) : Ptr());
}

template <class Entry>
void RegisterEntryMetaTypes()
{
    using Ptr = std::shared_ptr<Entry>;
    using ConstPtr = std::shared_ptr<const Entry>;
    RegisterStreamedType<Entry>(Entry::Guid());
    RegisterStreamedType<Ptr>(Entry::Guid(), &DecodePointer<Entry, Ptr>);
    RegisterStreamedType<ConstPtr>(Entry::Guid(), &DecodePointer<Entry, ConstPtr>);
    RegisterConverter<Ptr, DataEntryPtr>([](const Ptr &entry) { return DataEntryPtr(entry); });
    RegisterConverter<Ptr, DataEntryConstPtr>([](const Ptr &entry) { return DataEntryConstPtr(entry); });
    RegisterConverter<ConstPtr, DataEntryConstPtr>([](const ConstPtr &entry) { return DataEntryConstPtr(entry); });
    // Nobody may write through a constant pointer: the general pointer gets a copy.
    RegisterConverter<ConstPtr, DataEntryPtr>(
        [](const ConstPtr &entry) { return entry ? DataEntryPtr(std::make_shared<Entry>(*entry)) : DataEntryPtr(); });
    RegisterConverter<Entry, DataEntryConstPtr>(
        [](const Entry &entry) { return DataEntryConstPtr(std::make_shared<const Entry>(entry)); });
}

template <class Entry>
std::shared_ptr<const DataEntryRegister> MakeRegister(const DataEntryConstPtr &entry)
{
    const auto display = [](const ReaderConstPtr &reader, const DataEntryConstPtr &shown, const QString &title,
                            QWidget *parent) {
        return Entry::CreateEntryDisplayWidget(reader, shown, parent, [title] { return title; }, {}, {});
    };
    return std::make_shared<const DataEntryRegister>(entry, display, &Entry::CreatePropertyDisplayWidget,
                                                     &Entry::CreateQueryWidget, &Entry::FormatProperty,
                                                     &Entry::QueryProperty);
}

template <class Entry>
bool RegisterEntry()
{
    RegisterEntryMetaTypes<Entry>();
    return RegisterEntryClass({Entry::Category(), Entry::Version(), Entry::Guid(),
                               [] { return DataEntryPtr(std::make_shared<Entry>()); }, &MakeRegister<Entry>,
                               [] { return std::make_shared<DataEntryParser<Entry, DataEntry>>(); }});
}

} // namespace Detail

/// Registers a group of entry classes when it is constructed: one static object a group.
template <class... Entries>
struct EntryRegistration
{
    EntryRegistration() { (Detail::RegisterEntry<Entries>(), ...); }
};

} // namespace CommonNOX

/// Declares the meta-types of an entry class and the aliases of its shared pointers: their names are part of the
/// stored format, and only a macro can turn a type into its name.
#define NOX_DECLARE_ENTRY(Namespace, Class)                                                                            \
    namespace Namespace                                                                                                \
    {                                                                                                                  \
    using Class##Ptr = std::shared_ptr<Class>;                                                                         \
    using Class##ConstPtr = std::shared_ptr<const Class>;                                                              \
    }                                                                                                                  \
    Q_DECLARE_METATYPE(Namespace::Class)                                                                               \
    Q_DECLARE_METATYPE(Namespace::Class##Ptr)                                                                          \
    Q_DECLARE_METATYPE(Namespace::Class##ConstPtr)
