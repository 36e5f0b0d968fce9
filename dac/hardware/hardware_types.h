#pragma once

#include "nox_export.h"

#include <QObject>
#include <QString>

/// What an instrument's measuring hardware consists of. Values only: nothing here talks to a device. Everything may be
/// used from any thread.
namespace CommonNOX::Hardware
{

Q_NAMESPACE_EXPORT(NOX_EXPORT)

/// How a channel is coupled to the test object. Stored as numbers: never renumber.
enum class Coupling : qint32 {
    Invalid = 0,
    Default = 1,                         ///< the coupling the instrument is delivered with
    Input = 2,                           ///< a plain input, nothing between connector and digitiser
    CouplingCapacitor = 3,               ///< coupling capacitor with its measuring impedance
    Quadrupole = 4,                      ///< quadrupole in the earth path of the coupling capacitor
    HighFrequencyCurrentTransformer = 5, ///< clamp around an earth connection
    UhfAntenna = 6,
    Acoustic = 7
};
Q_ENUM_NS(Coupling)

/// What a channel measures. Stored as numbers: never renumber.
enum class Function : qint32 {
    Invalid = 0,
    Pd = 1,     ///< partial-discharge pulses
    Gating = 2, ///< disturbances, whose pulses are kept out of the result
    TestVoltage = 3,
    Input = 4 ///< a signal without an evaluation of its own
};
Q_ENUM_NS(Function)

/// What the periods of a channel are synchronised to. Stored as numbers: never renumber.
enum class SynchronisationSource : qint32 {
    Invalid = 0,
    External = 1,   ///< the synchronisation connector
    Internal = 2,   ///< the instrument's own oscillator
    Line = 3,       ///< the mains that feed the instrument
    TestVoltage = 4 ///< zero crossings of the test-voltage channel
};
Q_ENUM_NS(SynchronisationSource)

/// Text forms of the above, as they travel to instruments and through the configuration tree.
///
/// The texts are lower-case words, exact in case, and hold none of the separators '|', ';' and '='. A value without a
/// text gives "invalid", an unknown text gives Invalid.
namespace utils
{

NOX_EXPORT QString CouplingTypeToString(Coupling coupling);
NOX_EXPORT Coupling CouplingTypeFromString(const QString &text);

NOX_EXPORT QString FunctionTypeToString(Function function);
NOX_EXPORT Function FunctionTypeFromString(const QString &text);

NOX_EXPORT QString SynchronisationSourceTypeToString(SynchronisationSource source);
NOX_EXPORT SynchronisationSource SynchronisationSourceTypeFromString(const QString &text);

} // namespace utils

} // namespace CommonNOX::Hardware
