#include "host/simulated/discharge_source.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace NoxHost
{

namespace
{

struct KindRule
{
    DischargeKind kind;
    const char *name;
    double inceptionKilovolts;
};

constexpr std::array<KindRule, 4> KindRules = {{
    {DischargeKind::Void, "void", 8.0},
    {DischargeKind::Surface, "surface", 10.0},
    {DischargeKind::Corona, "corona", 6.0},
    {DischargeKind::Noise, "noise", -1.0},
}};

const KindRule &ruleOf(DischargeKind kind)
{
    return *std::find_if(KindRules.begin(), KindRules.end(),
                         [kind](const KindRule &rule) { return rule.kind == kind; });
}

// A normal distribution of degrees without its ends, as a part of the cycle.
double drawTurn(double centre, double deviation, double from, double to, PortableRandom &random)
{
    double degrees = 0.0;
    do {
        degrees = centre + deviation * random.normal();
    } while (degrees < from || degrees >= to);
    return degrees / 360.0;
}

// With rising voltage the discharges of a cavity begin earlier in the quarter.
Discharge drawVoid(double overvoltage, PortableRandom &random)
{
    const bool isPositive = random.uniform() < 0.5;
    const double turn = drawTurn(60.0 - 8.0 * std::min(overvoltage - 1.0, 3.0), 18.0, 0.0, 90.0, random);
    const double charge = std::clamp(50.0 + 100.0 * overvoltage * random.exponential(), 50.0, 1000.0);
    return isPositive ? Discharge{turn, charge} : Discharge{turn + 0.5, -charge};
}

Discharge drawSurface(double overvoltage, PortableRandom &random)
{
    const bool isPositive = random.uniform() < 0.3;
    const double turn = drawTurn(52.0, 28.0, 0.0, 120.0, random);
    const double spread = overvoltage * random.exponential();
    return isPositive ? Discharge{turn, std::clamp(300.0 + 600.0 * spread, 300.0, 5000.0)}
                      : Discharge{turn + 0.5, -std::clamp(100.0 + 200.0 * spread, 100.0, 2000.0)};
}

Discharge drawCorona(double overvoltage, PortableRandom &random)
{
    constexpr double PositiveInception = 2.5;
    if (overvoltage > PositiveInception && random.uniform() < 0.05)
        return {drawTurn(90.0, 8.0, 60.0, 120.0, random), std::clamp(160.0 + 15.0 * random.normal(), 100.0, 200.0)};
    return {drawTurn(270.0, 12.0, 225.0, 315.0, random), -std::clamp(60.0 + 3.0 * random.normal(), 20.0, 100.0)};
}

Discharge drawNoise(PortableRandom &random)
{
    const double charge = std::min(0.5 + 3.0 * random.exponential(), 19.5);
    const bool isPositive = random.uniform() < 0.5;
    return {random.uniform(), isPositive ? charge : -charge};
}

} // namespace

QString dischargeKindName(DischargeKind kind)
{
    return QString::fromLatin1(ruleOf(kind).name);
}

bool dischargeKindFromName(const QString &name, DischargeKind &kind)
{
    const auto found = std::find_if(KindRules.begin(), KindRules.end(),
                                    [&name](const KindRule &rule) { return name == QLatin1String(rule.name); });
    if (found == KindRules.end())
        return false;
    kind = found->kind;
    return true;
}

double inceptionKilovolts(DischargeKind kind)
{
    return ruleOf(kind).inceptionKilovolts;
}

Discharge drawDischarge(DischargeKind kind, double kilovolts, PortableRandom &random)
{
    const double overvoltage = kilovolts / inceptionKilovolts(kind);
    switch (kind) {
    case DischargeKind::Void:
        return drawVoid(overvoltage, random);
    case DischargeKind::Surface:
        return drawSurface(overvoltage, random);
    case DischargeKind::Corona:
        return drawCorona(overvoltage, random);
    case DischargeKind::Noise:
        break;
    }
    return drawNoise(random);
}

} // namespace NoxHost
