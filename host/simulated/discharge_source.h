#pragma once

#include "host/simulated/portable_random.h"

#include <QString>

namespace NoxHost
{

/// What discharges, or only seems to. The phase is 0 to 360 degrees from the rising zero of the test voltage.
///
/// Where in the cycle each kind appears, and how its charge and number grow, follows the phase-resolved patterns of
/// E. Gulski and F. H. Kreuger, "Computer-aided recognition of discharge sources", IEEE Trans. Electr. Insul. 27(1),
/// 1992, pp. 82-92; charges are apparent charges in the sense of IEC 60270. The figures are typical, not measured.
enum class DischargeKind {
    Void,    ///< inside the insulation: 0-90 and 180-270 degrees, both halves alike, 50-1000 pC
    Surface, ///< along a surface: 0-120 and 180-300 degrees, few large positive (to 5000 pC) and many small negative
    Corona,  ///< a point at high voltage in gas: equal pulses around 270 degrees, 20-200 pC; positive ones far above
             ///< inception
    Noise    ///< everywhere, also without voltage, both signs, below 20 pC
};

/// `void`, `surface`, `corona`, `noise`.
QString dischargeKindName(DischargeKind kind);
bool dischargeKindFromName(const QString &name, DischargeKind &kind);

/// Test voltage in kV r.m.s. at and below which a kind is silent; negative for noise, which never is.
double inceptionKilovolts(DischargeKind kind);

/// One pulse before it is put into the units of an instrument.
struct Discharge
{
    double turn = 0.0;         ///< phase as a part of the cycle, 0 to below 1
    double picocoulombs = 0.0; ///< apparent charge, positive in the positive half cycle but for noise
};

/// Draws one pulse of @p kind at @p kilovolts r.m.s., which lie above the inception.
Discharge drawDischarge(DischargeKind kind, double kilovolts, PortableRandom &random);

} // namespace NoxHost
