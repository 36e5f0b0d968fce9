#include "entries/data_entry_register.h"

#include "platform/singleton_instance.h"

namespace Shared
{
template class Singleton<CommonNOX::DataEntryRegisterFactory>;
}

namespace CommonNOX
{

namespace
{

struct Target
{
    DataEntryConstPtr owner;
    QString name;
    std::shared_ptr<const DataEntryRegister> entryRegister;
};

/// Who owns the property at the end of the path, and its class's register if there is one.
Target resolve(const DataEntryRegisterFactory &factory, const DataEntryConstPtr &entry, const QStringList &path)
{
    Target target;
    if (!entry || path.isEmpty())
        return target;
    target.name = path.last();
    DataEntryProperty property;
    if (path.size() == 1)
        target.owner = entry;
    else if (!entry->findNestedPropertyEntry(path, target.owner, property))
        return target;
    target.entryRegister = factory.createProduct(target.owner->getGuid(), target.owner);
    return target;
}

} // namespace

DataEntryRegister::DataEntryRegister(const DataEntryConstPtr &entry,
                                     const EntryDisplayWidgetCreator &entryDisplayWidgetCreator,
                                     const PropertyDisplayWidgetCreator &propertyDisplayWidgetCreator,
                                     const QueryWidgetCreator &queryWidgetCreator,
                                     const PropertyFormatter &propertyFormatter, const PropertyQuery &propertyQuery)
    : m_entry(entry), m_entryDisplayWidgetCreator(entryDisplayWidgetCreator),
      m_propertyDisplayWidgetCreator(propertyDisplayWidgetCreator), m_queryWidgetCreator(queryWidgetCreator),
      m_propertyFormatter(propertyFormatter), m_propertyQuery(propertyQuery)
{}

QWidget *DataEntryRegister::createEntryDisplayWidget(const ReaderConstPtr &reader, const QString &title,
                                                     QWidget *parent) const
{
    return m_entryDisplayWidgetCreator(reader, m_entry, title, parent);
}

QWidget *DataEntryRegister::createPropertyDisplayWidget(const ReaderConstPtr &reader, const QString &name,
                                                        const QString &title, bool readOnly, QWidget *parent) const
{
    return m_propertyDisplayWidgetCreator(reader, m_entry, name, title, readOnly, parent);
}

QWidget *DataEntryRegister::createQueryWidget(const ReaderConstPtr &reader, const QString &name, const QString &title,
                                              const QStringList &names, QWidget *parent) const
{
    return m_queryWidgetCreator(reader, m_entry, name, title, names, parent);
}

QString DataEntryRegister::formatProperty(const QString &name) const
{
    return m_propertyFormatter(m_entry, name);
}

bool DataEntryRegister::queryProperty(const QString &name, const QVariant &query) const
{
    return m_propertyQuery(m_entry, name, query);
}

QString DataEntryRegisterFactory::formatNestedProperty(const DataEntryConstPtr &entry, const QStringList &path) const
{
    const Target target = resolve(*this, entry, path);
    return target.entryRegister ? target.entryRegister->formatProperty(target.name)
                                : DataEntry::FormatProperty(target.owner, target.name);
}

bool DataEntryRegisterFactory::queryNestedProperty(const DataEntryConstPtr &entry, const QStringList &path,
                                                   const QVariant &query) const
{
    const Target target = resolve(*this, entry, path);
    return target.entryRegister ? target.entryRegister->queryProperty(target.name, query)
                                : DataEntry::QueryProperty(target.owner, target.name, query);
}

QWidget *DataEntryRegisterFactory::createNestedPropertyDisplayWidget(const ReaderConstPtr &reader,
                                                                     const DataEntryConstPtr &entry,
                                                                     const QString &title, const QStringList &path,
                                                                     bool readOnly, QWidget *parent) const
{
    const Target target = resolve(*this, entry, path);
    return target.entryRegister
               ? target.entryRegister->createPropertyDisplayWidget(reader, target.name, title, readOnly, parent)
               : DataEntry::CreatePropertyDisplayWidget(reader, target.owner, target.name, title, readOnly, parent);
}

QWidget *DataEntryRegisterFactory::createNestedQueryWidget(const ReaderConstPtr &reader, const DataEntryConstPtr &entry,
                                                           const QString &title, const QStringList &names,
                                                           const QStringList &path, QWidget *parent) const
{
    const Target target = resolve(*this, entry, path);
    return target.entryRegister ? target.entryRegister->createQueryWidget(reader, target.name, title, names, parent)
                                : DataEntry::CreateQueryWidget(reader, target.owner, target.name, title, names, parent);
}

} // namespace CommonNOX
