#include "dac/hardware/multiplexer_type.h"

namespace CommonNOX::Hardware
{

MultiplexerType::MultiplexerType(const QString &name, int numberOfInputs)
{
    const bool nameFits = !name.isEmpty() && name.size() <= MaximumNameLength && !name.contains(QLatin1Char('|'));
    if (nameFits && numberOfInputs > 0 && numberOfInputs <= MaximumNumberOfInputs) {
        m_name = name;
        m_numberOfInputs = numberOfInputs;
    }
}

QString MultiplexerType::getMultiplexerInformationString() const
{
    return isValid() ? m_name + QLatin1Char(':') + QString::number(m_numberOfInputs) : QString();
}

MultiplexerType utils::ParseMultiplexerTypeFromString(const QString &text)
{
    // The last separator: a name may hold others.
    const auto separator = text.lastIndexOf(QLatin1Char(':'));
    if (separator < 0)
        return MultiplexerType();
    // Text that is no number reads as 0, which makes no valid type.
    return MultiplexerType(text.left(separator), text.mid(separator + 1).toInt());
}

} // namespace CommonNOX::Hardware
