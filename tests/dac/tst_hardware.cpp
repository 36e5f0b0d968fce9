#include "dac/hardware/hardware_destination.h"
#include "dac/hardware/hardware_source_configuration.h"
#include "dac/hardware/hardware_types.h"
#include "dac/hardware/multiplexer_type.h"

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

TEST(HardwareTypes, DestinationsAndSourcesAreWholeOrInvalid)
{
    struct Row
    {
        const char *text, *written; // empty: invalid
    };
    for (const Row &row : {Row{"2147483647:2147483647", "2147483647:2147483647"}, Row{"01:+3", "1:3"}, Row{"", ""},
                           Row{":", ""}, Row{"3", ""}, Row{"0:", ""}, Row{"-1:0", ""}, Row{"0:-1", ""},
                           Row{"0:2147483648", ""}, Row{"0:1:2", ""}, Row{"0x1:0", ""}, Row{"0:1.5", ""}}) {
        const auto destination = utils::ParseHardwareDestinationFromString(QLatin1String(row.text));
        EXPECT_EQ(destination.getHardwareDestinationString(), QLatin1String(row.written)) << row.text;
        EXPECT_EQ(destination.isValid(), *row.written != '\0') << row.text;
    }
    EXPECT_EQ(HardwareDestination(0, -1), HardwareDestination());
    EXPECT_FALSE(HardwareDestination::FromChannelIndex(-1).isValid());
    EXPECT_EQ(HardwareSourceConfiguration(0, 50).getSourceConfigurationString(), QLatin1String("0:50"));
    EXPECT_EQ(HardwareSourceConfiguration(1, -50), HardwareSourceConfiguration());
}

TEST(MultiplexerType, ReadsNameAndInputs)
{
    const QString longest(1024, QLatin1Char('m'));
    struct Row
    {
        QString text, name; // without a name: invalid
        int inputs = 0;
    };
    const auto text = [](const char *latin) { return QString::fromLatin1(latin); };
    for (const Row &row : {Row{text("a:b=c:4096"), text("a:b=c"), 4096}, Row{text(" mux :1"), text(" mux "), 1},
                           Row{longest + text(":2"), longest, 2}, Row{longest + text("m:2"), {}}, Row{{}, {}},
                           Row{text("mux"), {}}, Row{text(":8"), {}}, Row{text("mux:0"), {}}, Row{text("mux:4097"), {}},
                           Row{text("mux:99999999999"), {}}, Row{text("m|x:8"), {}}}) {
        const auto type = utils::ParseMultiplexerTypeFromString(row.text);
        EXPECT_EQ(type.isValid(), !row.name.isEmpty()) << qPrintable(row.text);
        EXPECT_EQ(type.getMultiplexerTypeString(), row.name) << qPrintable(row.text);
        EXPECT_EQ(type.getNumberOfInputs(), row.inputs) << qPrintable(row.text);
        EXPECT_EQ(utils::ParseMultiplexerTypeFromString(type.getMultiplexerInformationString()), type);
    }
}

} // namespace
