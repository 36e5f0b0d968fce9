#pragma once

#include <algorithm>
#include <optional>

namespace Shared
{

/// A closed interval [lower, upper] of ordered values. It is empty when lower exceeds upper.
template <class T>
class Interval
{
public:
    constexpr Interval() = default;
    constexpr Interval(T lower, T upper) : m_lower(lower), m_upper(upper) {}

    constexpr T getLower() const { return m_lower; }
    constexpr T getUpper() const { return m_upper; }
    constexpr void setLower(T lower) { m_lower = lower; }
    constexpr void setUpper(T upper) { m_upper = upper; }

    constexpr bool isEmpty() const { return m_upper < m_lower; }
    constexpr bool contains(T value) const { return m_lower <= value && value <= m_upper; }

    /// The common part; nothing when the two do not meet.
    constexpr std::optional<Interval> intersected(const Interval &other) const
    {
        const Interval common(std::max(m_lower, other.m_lower), std::min(m_upper, other.m_upper));
        return common.isEmpty() ? std::nullopt : std::optional<Interval>(common);
    }

    friend constexpr bool operator==(const Interval &, const Interval &) = default;

private:
    T m_lower{};
    T m_upper{};
};

} // namespace Shared
