#include "dac/hardware/hardware_types.h"

#include <gtest/gtest.h>

#include <QStringList>

namespace Hardware = CommonNOX::Hardware;
using namespace CommonNOX::Hardware;

namespace
{

// Instruments and recordings hold these; a change breaks them.
TEST(HardwareTypes, NumbersAndTextsStay)
{
    const auto numbered = [](auto toString, auto first, int count) {
        QStringList texts;
        for (int value = int(first); value < int(first) + count; ++value)
            texts << toString(decltype(first)(value));
        return texts.join(QLatin1Char(' '));
    };
    EXPECT_EQ(numbered(utils::CouplingTypeToString, Coupling(1), 7),
              QLatin1String("default input coupling_capacitor quadrupole hfct uhf_antenna acoustic"));
    EXPECT_EQ(numbered(utils::FunctionTypeToString, Hardware::Function(1), 4), QLatin1String("pd gating tv input"));
    EXPECT_EQ(numbered(utils::SynchronisationSourceTypeToString, SynchronisationSource(1), 4),
              QLatin1String("extern intern line tv"));
    const auto roundTrips = [](auto toString, auto fromString, auto invalid) {
        for (int value = 0; value < 9; ++value)
            EXPECT_EQ(toString(fromString(toString(decltype(invalid)(value)))), toString(decltype(invalid)(value)));
        EXPECT_EQ(toString(decltype(invalid)(1000)), QLatin1String("invalid"));
        for (const char *unknown : {"", "nonsense", "1", " default", "PD", "EXTERN"})
            EXPECT_EQ(fromString(QLatin1String(unknown)), invalid) << unknown;
    };
    roundTrips(utils::CouplingTypeToString, utils::CouplingTypeFromString, Coupling::Invalid);
    roundTrips(utils::FunctionTypeToString, utils::FunctionTypeFromString, Hardware::Function::Invalid);
    roundTrips(utils::SynchronisationSourceTypeToString, utils::SynchronisationSourceTypeFromString,
               SynchronisationSource::Invalid);
}

} // namespace
