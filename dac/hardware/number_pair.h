#pragma once

#include <QString>

#include <optional>
#include <utility>

namespace CommonNOX::Hardware
{

/// "A:B", two decimal numbers of 0 or more: the text form that the small hardware values share.
inline QString writeNumberPair(int first, int second)
{
    return QString::number(first) + QLatin1Char(':') + QString::number(second);
}

inline std::optional<std::pair<int, int>> readNumberPair(const QString &text)
{
    const auto separator = text.indexOf(QLatin1Char(':'));
    if (separator < 0)
        return std::nullopt;
    bool firstRead = false;
    bool secondRead = false;
    const std::pair numbers(text.left(separator).toInt(&firstRead), text.mid(separator + 1).toInt(&secondRead));
    if (!firstRead || !secondRead || numbers.first < 0 || numbers.second < 0)
        return std::nullopt;
    return numbers;
}

} // namespace CommonNOX::Hardware
