#pragma once

#include "entries/data_entry_property.h"

#include <QByteArray>

#include <atomic>
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
    Traits(const Traits &other)
        : name(other.name), searchable(other.searchable), icon(other.icon), description(other.description),
          translator(other.translator)
    {}

    /// The bytes of a property record before and behind its value, in a data stream's default format.
    struct Encoded
    {
        QByteArray head;
        QByteArray tail;
    };
    const Encoded &encoded() const
    {
        // Asking the once-flag alone costs as much as writing a value.
        if (!m_isEncoded.load(std::memory_order_acquire))
            encode();
        return m_encoded;
    }

private:
    void encode() const;

    mutable std::once_flag m_encodeOnce;
    mutable std::atomic<bool> m_isEncoded = false;
    mutable Encoded m_encoded;
};

} // namespace CommonNOX
