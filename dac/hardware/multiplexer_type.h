#pragma once

#include "nox_export.h"

#include <QString>

namespace CommonNOX::Hardware
{

/// A multiplexer that switches one of several inputs to a channel.
class NOX_EXPORT MultiplexerType
{
public:
    static constexpr int MaximumNameLength = 1024;
    static constexpr int MaximumNumberOfInputs = 4096;

    /// The invalid type, which stands for "no multiplexer".
    MultiplexerType() = default;

    /// Gives the invalid type unless the name has 1 to MaximumNameLength characters without '|', which separates the
    /// items of a channel's text, and there are 1 to MaximumNumberOfInputs inputs.
    MultiplexerType(const QString &name, int numberOfInputs);

    int getNumberOfInputs() const { return m_numberOfInputs; }
    bool isValid() const { return m_numberOfInputs > 0; }

    /// The name, by which device settings refer to the multiplexer; empty when invalid.
    QString getMultiplexerTypeString() const { return m_name; }

    /// "NAME:INPUTS", for example "mux:8"; empty when invalid.
    QString getMultiplexerInformationString() const;

    friend bool operator==(const MultiplexerType &, const MultiplexerType &) = default;

private:
    QString m_name;
    int m_numberOfInputs = 0;
};

namespace utils
{

/// Reads what getMultiplexerInformationString() writes; anything else gives the invalid type.
NOX_EXPORT MultiplexerType ParseMultiplexerTypeFromString(const QString &text);

} // namespace utils

} // namespace CommonNOX::Hardware
