#include "entries/data_entry_property.h"

#include "entries/data_entry_property_p.h"

#include <QDataStream>

namespace CommonNOX
{

void DataEntryProperty::Traits::encode() const
{
    std::call_once(m_encodeOnce, [this] {
        QDataStream head(&m_encoded.head, QIODevice::WriteOnly);
        head << name;
        QDataStream tail(&m_encoded.tail, QIODevice::WriteOnly);
        tail << searchable << icon << description;
        m_isEncoded.store(true, std::memory_order_release);
    });
}

DataEntryProperty::DataEntryProperty()
{
    static const auto empty = std::make_shared<const Traits>();
    m_traits = empty;
}

DataEntryProperty::DataEntryProperty(const QString &name, const QVariant &value, bool searchable, const QIcon &icon,
                                     const QString &description, const DescriptionTranslator &descriptionTranslator)
    : m_value(value)
{
    Traits traits;
    traits.name = name;
    traits.searchable = searchable;
    traits.icon = icon;
    traits.description = description;
    traits.translator = descriptionTranslator;
    m_traits = std::make_shared<const Traits>(traits);
}

DataEntryProperty::DataEntryProperty(const DataEntryProperty &) = default;
DataEntryProperty &DataEntryProperty::operator=(const DataEntryProperty &) = default;
DataEntryProperty::~DataEntryProperty() = default;

template <class Change>
void DataEntryProperty::changeTraits(Change change)
{
    Traits traits(*m_traits);
    change(traits);
    m_traits = std::make_shared<const Traits>(traits);
}

QString DataEntryProperty::getName() const
{
    return m_traits->name;
}

void DataEntryProperty::setName(const QString &name)
{
    changeTraits([&](Traits &traits) { traits.name = name; });
}

bool DataEntryProperty::isSearchable() const
{
    return m_traits->searchable;
}

QIcon DataEntryProperty::getIcon() const
{
    return m_traits->icon;
}

void DataEntryProperty::setIcon(const QIcon &icon)
{
    changeTraits([&](Traits &traits) { traits.icon = icon; });
}

QString DataEntryProperty::getDescription() const
{
    if (m_traits->translator)
        return m_traits->translator();
    return m_traits->description.isEmpty() ? m_traits->name : m_traits->description;
}

void DataEntryProperty::setDescription(const QString &description)
{
    changeTraits([&](Traits &traits) { traits.description = description; });
}

void DataEntryProperty::setDescriptionTranslator(const DescriptionTranslator &translator)
{
    changeTraits([&](Traits &traits) { traits.translator = translator; });
}

bool DataEntryProperty::updateFromProperty(const DataEntryProperty &other)
{
    if (other.getName() != getName())
        return false;
    *this = other;
    return true;
}

} // namespace CommonNOX
