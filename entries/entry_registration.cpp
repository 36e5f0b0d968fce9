#include "entries/entry_registration.h"

#include <algorithm>

namespace CommonNOX
{

namespace
{

std::vector<EntryClassInformation> &classes()
{
    static std::vector<EntryClassInformation> list;
    return list;
}

/// The general pointers, which no class owns.
void registerGeneralTypes()
{
    static const bool done = [] {
        Detail::RegisterStreamedType<DataEntryPtr>({});
        Detail::RegisterStreamedType<DataEntryConstPtr>({});
        Detail::RegisterConverter<DataEntryPtr, DataEntryConstPtr>(
            [](const DataEntryPtr &entry) { return DataEntryConstPtr(entry); });
        return true;
    }();
    Q_UNUSED(done)
}

} // namespace

const std::vector<EntryClassInformation> &RegisteredEntryClasses()
{
    return classes();
}

DataEntryPtr CreateRegisteredEntry(const QString &guid)
{
    const auto &list = classes();
    const auto found = std::find_if(list.begin(), list.end(), [&](const auto &known) { return known.guid == guid; });
    return found == list.end() ? nullptr : found->create();
}

bool RegisterEntryClass(const EntryClassInformation &information)
{
    registerGeneralTypes();
    auto &factory = Shared::Singleton<DataEntryRegisterFactory>::getInstance();
    if (const auto repository = Utilities::GetAppDataRepositoryInterface()) {
        repository->registerParser(QStringLiteral("%1_%2").arg(information.category, information.version),
                                   information.createParser);
    }
    if (factory.isProductRegistered(information.guid))
        return false;
    classes().push_back(information);
    return factory.registerProduct(information.guid, information.createRegister);
}

} // namespace CommonNOX
