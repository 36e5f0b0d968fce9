#pragma once

#include "entries/data_entry.h"
#include "nox_export.h"
#include "platform/factory.h"
#include "platform/singleton.h"

namespace CommonNOX
{

/// What can be done with one entry by the rules of its class. A plain value.
class NOX_EXPORT DataEntryRegister
{
public:
    using EntryDisplayWidgetCreator = std::function<QWidget *(
        const ReaderConstPtr &reader, const DataEntryConstPtr &entry, const QString &title, QWidget *parent)>;
    using PropertyDisplayWidgetCreator =
        std::function<QWidget *(const ReaderConstPtr &reader, const DataEntryConstPtr &entry, const QString &name,
                                const QString &title, bool readOnly, QWidget *parent)>;
    using QueryWidgetCreator =
        std::function<QWidget *(const ReaderConstPtr &reader, const DataEntryConstPtr &entry, const QString &name,
                                const QString &title, const QStringList &names, QWidget *parent)>;
    using PropertyFormatter = std::function<QString(const DataEntryConstPtr &entry, const QString &name)>;
    using PropertyQuery =
        std::function<bool(const DataEntryConstPtr &entry, const QString &name, const QVariant &query)>;

    DataEntryRegister(const DataEntryConstPtr &entry, const EntryDisplayWidgetCreator &entryDisplayWidgetCreator,
                      const PropertyDisplayWidgetCreator &propertyDisplayWidgetCreator,
                      const QueryWidgetCreator &queryWidgetCreator, const PropertyFormatter &propertyFormatter,
                      const PropertyQuery &propertyQuery);

    QWidget *createEntryDisplayWidget(const ReaderConstPtr &reader, const QString &title, QWidget *parent) const;
    QWidget *createPropertyDisplayWidget(const ReaderConstPtr &reader, const QString &name, const QString &title,
                                         bool readOnly, QWidget *parent) const;
    QWidget *createQueryWidget(const ReaderConstPtr &reader, const QString &name, const QString &title,
                               const QStringList &names, QWidget *parent) const;
    QString formatProperty(const QString &name) const;
    bool queryProperty(const QString &name, const QVariant &query) const;

private:
    DataEntryConstPtr m_entry;
    EntryDisplayWidgetCreator m_entryDisplayWidgetCreator;
    PropertyDisplayWidgetCreator m_propertyDisplayWidgetCreator;
    QueryWidgetCreator m_queryWidgetCreator;
    PropertyFormatter m_propertyFormatter;
    PropertyQuery m_propertyQuery;
};

/// The registers of all entry classes by GUID; each look-up makes a new one. Filled while the library loads, read
/// only afterwards.
class NOX_EXPORT DataEntryRegisterFactory
    : public Shared::Factory<QString, std::shared_ptr<const DataEntryRegister>, const DataEntryConstPtr &>
{
public:
    /// The text of the property that the path leads to, by the rules of the entry that owns it. Without a register
    /// the value as text; empty when the path leads nowhere.
    QString formatNestedProperty(const DataEntryConstPtr &entry, const QStringList &path) const;
    /// Whether that property matches the query.
    bool queryNestedProperty(const DataEntryConstPtr &entry, const QStringList &path, const QVariant &query) const;
    QWidget *createNestedPropertyDisplayWidget(const ReaderConstPtr &reader, const DataEntryConstPtr &entry,
                                               const QString &title, const QStringList &path, bool readOnly,
                                               QWidget *parent) const;
    /// `names` are the properties that the query may choose from.
    QWidget *createNestedQueryWidget(const ReaderConstPtr &reader, const DataEntryConstPtr &entry, const QString &title,
                                     const QStringList &names, const QStringList &path, QWidget *parent) const;
};

} // namespace CommonNOX

namespace Shared
{
extern template class NOX_EXPORT Singleton<CommonNOX::DataEntryRegisterFactory>;
}
