#include "dac/hardware/hardware_types.h"

#include <algorithm>
#include <iterator>

namespace CommonNOX::Hardware::utils
{

namespace
{

template <typename Enumeration>
struct Word
{
    Enumeration value;
    const char *text;
};

constexpr Word<Coupling> couplings[] = {
    {Coupling::Default, "default"},
    {Coupling::Input, "input"},
    {Coupling::CouplingCapacitor, "coupling_capacitor"},
    {Coupling::Quadrupole, "quadrupole"},
    {Coupling::HighFrequencyCurrentTransformer, "hfct"},
    {Coupling::UhfAntenna, "uhf_antenna"},
    {Coupling::Acoustic, "acoustic"},
};

constexpr Word<Function> functions[] = {
    {Function::Pd, "pd"},
    {Function::Gating, "gating"},
    {Function::TestVoltage, "tv"},
    {Function::Input, "input"},
};

constexpr Word<SynchronisationSource> synchronisationSources[] = {
    {SynchronisationSource::External, "extern"},
    {SynchronisationSource::Internal, "intern"},
    {SynchronisationSource::Line, "line"},
    {SynchronisationSource::TestVoltage, "tv"},
};

template <typename Enumeration, std::size_t Size>
QString textOf(const Word<Enumeration> (&words)[Size], Enumeration value)
{
    const auto word = std::find_if(std::begin(words), std::end(words), [&](const auto &w) { return w.value == value; });
    return QLatin1String(word != std::end(words) ? word->text : "invalid");
}

template <typename Enumeration, std::size_t Size>
Enumeration valueOf(const Word<Enumeration> (&words)[Size], const QString &text)
{
    const auto word =
        std::find_if(std::begin(words), std::end(words), [&](const auto &w) { return text == QLatin1String(w.text); });
    return word != std::end(words) ? word->value : Enumeration::Invalid;
}

} // namespace

QString CouplingTypeToString(Coupling coupling)
{
    return textOf(couplings, coupling);
}

Coupling CouplingTypeFromString(const QString &text)
{
    return valueOf(couplings, text);
}

QString FunctionTypeToString(Function function)
{
    return textOf(functions, function);
}

Function FunctionTypeFromString(const QString &text)
{
    return valueOf(functions, text);
}

QString SynchronisationSourceTypeToString(SynchronisationSource source)
{
    return textOf(synchronisationSources, source);
}

SynchronisationSource SynchronisationSourceTypeFromString(const QString &text)
{
    return valueOf(synchronisationSources, text);
}

} // namespace CommonNOX::Hardware::utils
