#include "entries/data_entry.h"

#include "entries/widget_creators.h"
#include "entries/wildcard.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace CommonNOX
{

namespace
{

// Values hold entries by pointer, so a constant property's setValue could close a ring.
constexpr int MaximumNesting = 64;

struct InstalledCreators
{
    std::mutex mutex;
    WidgetCreators creators;
};

InstalledCreators &installedCreators()
{
    static InstalledCreators instance;
    return instance;
}

void collectSearchable(const DataEntry &entry, const QStringList &way, std::vector<const DataEntry *> &owners,
                       QList<QStringList> &paths)
{
    if (way.size() >= MaximumNesting || std::find(owners.begin(), owners.end(), &entry) != owners.end())
        return;
    owners.push_back(&entry);
    for (const QString &name : entry.getPropertyNames()) {
        const DataEntryProperty property = entry.getProperty(name);
        const QStringList path = way + QStringList(name);
        if (property.isSearchable())
            paths.append(path);
        if (const auto nested = DataEntryFromVariant(property.getValue()))
            collectSearchable(*nested, path, owners, paths);
    }
    owners.pop_back();
}

} // namespace

DataEntry::DataEntry() = default;

DataEntry::DataEntry(const QString &guid, const QList<DataEntryProperty> &properties) : m_isDefault(false), m_guid(guid)
{
    m_properties.reserve(properties.size());
    for (const DataEntryProperty &property : properties) {
        const QString name = property.getName();
        if (m_properties.contains(name))
            continue;
        m_properties.insert(name, property);
        m_propertyNames.append(name);
    }
}

DataEntry::DataEntry(const DataEntry &other)
    : m_isDefault(other.m_isDefault), m_guid(other.m_guid), m_properties(other.m_properties),
      m_propertyNames(other.m_propertyNames)
{
    // A property's value can be set through a constant entry, so the nodes must not be shared with the other.
    m_properties.detach();
}

DataEntry &DataEntry::operator=(const DataEntry &other)
{
    m_isDefault = other.m_isDefault;
    m_guid = other.m_guid;
    m_properties = other.m_properties;
    m_properties.detach();
    m_propertyNames = other.m_propertyNames;
    return *this;
}

DataEntry::~DataEntry() = default;

bool DataEntry::isValid() const
{
    return !m_isDefault;
}

QVariant DataEntry::get(const QString &name) const
{
    const auto property = m_properties.constFind(name);
    return property == m_properties.constEnd() ? QVariant() : property->getValue();
}

DataEntryProperty DataEntry::getProperty(const QString &name) const
{
    const auto property = m_properties.constFind(name);
    return property == m_properties.constEnd() ? DataEntryProperty() : *property;
}

bool DataEntry::set(const QString &name, const QVariant &value)
{
    const auto property = m_properties.find(name);
    if (property == m_properties.end())
        return false;
    property->setValue(value);
    return true;
}

bool DataEntry::setProperty(const DataEntryProperty &property)
{
    const auto own = m_properties.find(property.getName());
    return own != m_properties.end() && own->updateFromProperty(property);
}

bool DataEntry::findNestedProperty(const QStringList &path, DataEntryProperty &property) const
{
    DataEntry entry;
    return findNestedPropertyEntry(path, entry, property);
}

bool DataEntry::findNestedPropertyEntry(const QStringList &path, DataEntry &entry, DataEntryProperty &property) const
{
    DataEntryConstPtr owner;
    if (path.isEmpty())
        return false;
    const bool found = findNestedPropertyEntry(path, owner, property);
    if (owner)
        entry = *owner;
    return found;
}

bool DataEntry::findNestedPropertyEntry(const QStringList &path, DataEntryConstPtr &entry,
                                        DataEntryProperty &property) const
{
    if (path.isEmpty())
        return false;
    DataEntryConstPtr nested;
    for (int i = 0; i + 1 < path.size(); ++i) {
        nested = DataEntryFromVariant((nested ? *nested : *this).get(path[i]));
        if (!nested)
            return false;
    }
    entry = nested ? nested : std::make_shared<const DataEntry>(*this);
    property = entry->getProperty(path.last());
    return entry->getProperties().contains(path.last());
}

QString DataEntry::FormatProperty(const DataEntryConstPtr &entry, const QString &name)
{
    return entry ? entry->get(name).toString() : QString();
}

bool DataEntry::QueryProperty(const DataEntryConstPtr &entry, const QString &name, const QVariant &query)
{
    if (!entry || !entry->getProperties().contains(name))
        return false;
    const QString text = query.toString();
    const QString pattern = text.isEmpty() ? QStringLiteral("*") : QLatin1Char('*') + text + QLatin1Char('*');
    return MatchesWildcard(pattern, entry->get(name).toString());
}

QWidget *DataEntry::CreateEntryDisplayWidget(const ReaderConstPtr &reader, const DataEntryConstPtr &entry,
                                             QWidget *parent, const TextGetter &title, const TextGetter &description,
                                             const IconGetter &icon)
{
    const auto create = GetWidgetCreators().entryDisplay;
    return entry && create ? create(reader, entry, parent, title, description, icon) : nullptr;
}

QWidget *DataEntry::CreatePropertyDisplayWidget(const ReaderConstPtr &reader, const DataEntryConstPtr &entry,
                                                const QString &name, const QString &title, bool readOnly,
                                                QWidget *parent)
{
    const auto create = GetWidgetCreators().propertyDisplay;
    return entry && create ? create(reader, entry, name, title, readOnly, parent) : nullptr;
}

QWidget *DataEntry::CreateQueryWidget(const ReaderConstPtr &reader, const DataEntryConstPtr &entry, const QString &name,
                                      const QString &title, const QStringList &names, QWidget *parent)
{
    const auto create = GetWidgetCreators().query;
    return entry && create ? create(reader, entry, name, title, names, parent) : nullptr;
}

DataEntryProperty DataEntry::MakeProperty(const QString &name, const QVariant &value, bool searchable,
                                          const QIcon &icon, const QString &description,
                                          const DataEntryProperty::DescriptionTranslator &translator)
{
    return DataEntryProperty(name, value, searchable, icon, description, translator);
}

DataEntryConstPtr DataEntryFromVariant(const QVariant &value)
{
    const int type = value.userType();
    if (type == qMetaTypeId<DataEntryConstPtr>())
        return value.value<DataEntryConstPtr>();
    if (type < int(QMetaType::User) ||
        !QMetaType::hasRegisteredConverterFunction(type, qMetaTypeId<DataEntryConstPtr>()))
        return nullptr;
    return value.value<DataEntryConstPtr>();
}

QList<QStringList> FindSearchablePropertiesForDataEntry(const DataEntry &entry)
{
    QList<QStringList> paths;
    std::vector<const DataEntry *> owners;
    if (!entry.isDefault())
        collectSearchable(entry, {}, owners, paths);
    return paths;
}

QList<QStringList> FindSearchablePropertiesForDataEntry(const DataEntryConstPtr &entry)
{
    return entry ? FindSearchablePropertiesForDataEntry(*entry) : QList<QStringList>();
}

void InstallWidgetCreators(const WidgetCreators &creators)
{
    const std::lock_guard guard(installedCreators().mutex);
    installedCreators().creators = creators;
}

WidgetCreators GetWidgetCreators()
{
    const std::lock_guard guard(installedCreators().mutex);
    return installedCreators().creators;
}

} // namespace CommonNOX
