#pragma once

#include <QLatin1String>

#include <cstddef>

namespace CommonNOX::Evaluation
{

/// A name as a constant expression. Qt's own constructor measures the text by strlen, which not every compiler takes
/// for constant.
template <std::size_t Size>
constexpr QLatin1String ConstantName(const char (&text)[Size])
{
    return QLatin1String(text, int(Size) - 1);
}

} // namespace CommonNOX::Evaluation
