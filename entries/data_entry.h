#pragma once

#include "entries/data_entry_property.h"
#include "nox_export.h"
#include "platform/reader_interface.h"

#include <QHash>
#include <QIcon>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <concepts>
#include <functional>
#include <memory>

class QDataStream;
class QWidget;

namespace CommonNOX
{

class DataEntry;
using DataEntryPtr = std::shared_ptr<DataEntry>;
using DataEntryConstPtr = std::shared_ptr<const DataEntry>;
using ReaderConstPtr = std::shared_ptr<const Shared::GuiContexts::ReaderInterface>;

/// A typed record of named properties: the unit in which settings, test records and results are kept and shown.
///
/// A concrete class declares its properties in its constructor; an entry never gains or loses one. Copies are
/// independent. Not locked: an entry is filled by one owner and then handed on as a pointer to a constant entry.
/// Unknown names give the empty property, an invalid value, an empty text or false, never an error.
class NOX_EXPORT DataEntry
{
public:
    using TextGetter = std::function<QString()>;
    using IconGetter = std::function<QIcon()>;

    /// An empty placeholder, which is not valid.
    DataEntry();
    /// `guid` names the class of the entry. Of properties with the same name the first counts.
    DataEntry(const QString &guid, const QList<DataEntryProperty> &properties);
    DataEntry(const DataEntry &other);
    DataEntry &operator=(const DataEntry &other);
    virtual ~DataEntry();

    virtual bool isValid() const;
    bool isDefault() const { return m_isDefault; }
    QString getGuid() const { return m_guid; }

    QVariant get(const QString &name) const;
    DataEntryProperty getProperty(const QString &name) const;
    const QHash<QString, DataEntryProperty> &getProperties() const { return m_properties; }
    /// In order of declaration.
    const QStringList &getPropertyNames() const { return m_propertyNames; }

    /// Replaces the value of a declared property, whatever its type; false for an unknown name.
    bool set(const QString &name, const QVariant &value);

    /// Follows a path of names through entries held as values. False when a name on the way holds no entry or the
    /// last is unknown; `entry` is the owner of the last name once the way to it exists.
    bool findNestedProperty(const QStringList &path, DataEntryProperty &property) const;
    bool findNestedPropertyEntry(const QStringList &path, DataEntry &entry, DataEntryProperty &property) const;
    /// The pointer is a copy of this entry where the path has a single name.
    bool findNestedPropertyEntry(const QStringList &path, DataEntryConstPtr &entry, DataEntryProperty &property) const;

    /// The default rules, which a class replaces by operations of the same names.
    static QString FormatProperty(const DataEntryConstPtr &entry, const QString &name);
    /// Whether the value as text contains the query, in which wildcards keep their meaning. Case-sensitive on
    /// purpose: the applications' searches rely on it. An empty query matches every declared property.
    static bool QueryProperty(const DataEntryConstPtr &entry, const QString &name, const QVariant &query);
    /// The widgets come from the user-interface layer; null without it, and for a null entry.
    static QWidget *CreateEntryDisplayWidget(const ReaderConstPtr &reader, const DataEntryConstPtr &entry,
                                             QWidget *parent, const TextGetter &title, const TextGetter &description,
                                             const IconGetter &icon);
    static QWidget *CreatePropertyDisplayWidget(const ReaderConstPtr &reader, const DataEntryConstPtr &entry,
                                                const QString &name, const QString &title, bool readOnly,
                                                QWidget *parent);
    static QWidget *CreateQueryWidget(const ReaderConstPtr &reader, const DataEntryConstPtr &entry, const QString &name,
                                      const QString &title, const QStringList &names, QWidget *parent);

protected:
    /// How entry classes make their properties.
    static DataEntryProperty MakeProperty(const QString &name, const QVariant &value, bool searchable,
                                          const QIcon &icon, const QString &description,
                                          const DataEntryProperty::DescriptionTranslator &translator);
    /// Takes over everything of the property but its name; false when the name is unknown.
    bool setProperty(const DataEntryProperty &property);

private:
    friend class EntryStream;

    bool m_isDefault = true;
    QString m_guid;
    QHash<QString, DataEntryProperty> m_properties;
    QStringList m_propertyNames;
};

/// The entry that a variant holds: any registered pointer or value type. Null when it holds none.
NOX_EXPORT DataEntryConstPtr DataEntryFromVariant(const QVariant &value);

/// Paths of all searchable properties, through entries held as values. Empty for a null or default entry.
NOX_EXPORT QList<QStringList> FindSearchablePropertiesForDataEntry(const DataEntry &entry);
NOX_EXPORT QList<QStringList> FindSearchablePropertiesForDataEntry(const DataEntryConstPtr &entry);

} // namespace CommonNOX

Q_DECLARE_METATYPE(CommonNOX::DataEntryPtr)
Q_DECLARE_METATYPE(CommonNOX::DataEntryConstPtr)
