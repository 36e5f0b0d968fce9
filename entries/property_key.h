#pragma once

#include <QString>

#include <cstddef>

namespace CommonNOX
{

/// The name of a property as a typed constant: a misspelt one does not compile.
class PropertyKey
{
public:
    template <std::size_t Size>
    constexpr explicit PropertyKey(const char16_t (&text)[Size]) : m_text(text), m_size(int(Size) - 1)
    {}

    /// Shares the literal; nothing is copied.
    QString toString() const { return QString::fromRawData(reinterpret_cast<const QChar *>(m_text), m_size); }
    operator QString() const { return toString(); }

private:
    const char16_t *m_text;
    int m_size;
};

} // namespace CommonNOX
