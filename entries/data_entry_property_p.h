#pragma once

#include "entries/data_entry_property.h"

#include <QByteArray>

#include <mutex>

namespace CommonNOX
{

/// Immutable once a property holds it; but for the encoded form, which is made when it is first written.
struct DataEntryProperty::Traits
{
    QString name;
    bool searchable = false;
    QIcon icon;
    QString description;
    DescriptionTranslator translator;

    Traits() = default;
    Traits(const Traits &other) :
        name(other.name), searchable(other.searchable), icon(other.icon), description(other.description),
        translator(other.translator)
    {
    }

    /// The bytes of a property record before and behind its value, in a data stream's default format.
    const QByteArray &encodedHead() const
    {
        encode();
        return m_head;
    }
    const QByteArray &encodedTail() const
    {
        encode();
        return m_tail;
    }

private:
    void encode() const;

    mutable std::once_flag m_encoded;
    mutable QByteArray m_head;
    mutable QByteArray m_tail;
};

} // namespace CommonNOX
