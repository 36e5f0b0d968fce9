#pragma once

#include "nox_export.h"

#include <QIcon>
#include <QMetaType>
#include <QString>
#include <QVariant>

#include <functional>
#include <memory>

class QDataStream;

namespace CommonNOX
{

/// One named value of a data entry, with what is needed to show it and to search by it.
///
/// A value type; copies share everything but the value. Not locked: `setValue` on a shared entry is for its owner.
class NOX_EXPORT DataEntryProperty
{
public:
    using DescriptionTranslator = std::function<QString()>;

    /// The empty property, which look-ups return for an unknown name.
    DataEntryProperty();
    DataEntryProperty(const DataEntryProperty &);
    DataEntryProperty &operator=(const DataEntryProperty &);
    virtual ~DataEntryProperty();

    QString getName() const;
    void setName(const QString &name);

    QVariant getValue() const { return m_value; }
    /// Constant on purpose: whoever holds a constant entry may still fill in a value.
    void setValue(const QVariant &value) const { m_value = value; }
    QMetaType::Type getType() const { return QMetaType::Type(m_value.userType()); }

    /// Whether a search may offer this property as a criterion.
    bool isSearchable() const;

    QIcon getIcon() const;
    void setIcon(const QIcon &icon);

    /// The label: translated where there is a translator, else the description, else the name.
    QString getDescription() const;
    void setDescription(const QString &description);
    void setDescriptionTranslator(const DescriptionTranslator &translator);

    /// Takes over everything but the name. False, and nothing changes, when the names differ.
    bool updateFromProperty(const DataEntryProperty &other);

private:
    friend class DataEntry;
    friend class EntryStream;

    DataEntryProperty(const QString &name, const QVariant &value, bool searchable, const QIcon &icon,
                      const QString &description, const DescriptionTranslator &descriptionTranslator);

    struct Traits;
    template <class Change>
    void changeTraits(Change change);

    // What is the same in all copies of a declared property, so that copying an entry is cheap.
    std::shared_ptr<const Traits> m_traits;
    mutable QVariant m_value;
};

} // namespace CommonNOX
