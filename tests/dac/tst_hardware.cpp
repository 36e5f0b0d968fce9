#include "dac/hardware/hardware_destination.h"
#include "dac/hardware/hardware_source_configuration.h"
#include "dac/hardware/hardware_types.h"
#include "dac/hardware/multiplexer_type.h"

#include <gtest/gtest.h>

#include <QMetaEnum>
#include <QSet>
#include <QStringList>

namespace Hardware = CommonNOX::Hardware;
using namespace CommonNOX::Hardware;

namespace
{

// Walks the enumeration itself, so that a member added without a text fails here.
template <typename Enumeration>
void expectEveryMemberHasItsOwnText(QString (*toString)(Enumeration), Enumeration (*fromString)(const QString &))
{
    const QMetaEnum members = QMetaEnum::fromType<Enumeration>();
    QSet<QString> texts;
    for (int i = 0; i < members.keyCount(); ++i) {
        const auto value = Enumeration(members.value(i));
        const QString text = toString(value);
        EXPECT_EQ(fromString(text), value) << members.key(i);
        EXPECT_EQ(text == QLatin1String("invalid"), value == Enumeration::Invalid) << members.key(i);
        EXPECT_EQ(text, text.toLower()) << members.key(i);
        for (const char separator : {'|', ';', '=', ' '})
            EXPECT_FALSE(text.contains(QLatin1Char(separator))) << members.key(i);
        texts.insert(text);
    }
    EXPECT_EQ(texts.size(), members.keyCount());
    EXPECT_EQ(toString(Enumeration(1000)), QLatin1String("invalid"));
    for (const char *unknown : {"", "nonsense", "1", " default", "PD", "EXTERN"})
        EXPECT_EQ(fromString(QLatin1String(unknown)), Enumeration::Invalid) << unknown;
}

TEST(HardwareTypes, EveryMemberHasItsOwnText)
{
    expectEveryMemberHasItsOwnText<Coupling>(utils::CouplingTypeToString, utils::CouplingTypeFromString);
    expectEveryMemberHasItsOwnText<Hardware::Function>(utils::FunctionTypeToString, utils::FunctionTypeFromString);
    expectEveryMemberHasItsOwnText<SynchronisationSource>(utils::SynchronisationSourceTypeToString,
                                                          utils::SynchronisationSourceTypeFromString);
}

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
}

TEST(HardwareDestination, ReadsBoardAndLine)
{
    struct Row
    {
        const char *text;
        const char *written; // empty: invalid
    };
    const Row rows[] = {
        {"0:0", "0:0"},   {"1:31", "1:31"}, {"2147483647:2147483647", "2147483647:2147483647"},
        {"01:+3", "1:3"}, {"", ""},         {":", ""},
        {"3", ""},        {"0:", ""},       {":0", ""},
        {"-1:0", ""},     {"0:-1", ""},     {"0:2147483648", ""},
        {"0:1:2", ""},    {"0x1:0", ""},    {"0:1.5", ""},
        {"a:b", ""},
    };
    for (const Row &row : rows) {
        const auto destination = utils::ParseHardwareDestinationFromString(QLatin1String(row.text));
        EXPECT_EQ(destination.getHardwareDestinationString(), QLatin1String(row.written)) << row.text;
        EXPECT_EQ(destination.isValid(), *row.written != '\0') << row.text;
        EXPECT_EQ(utils::ParseHardwareDestinationFromString(destination.getHardwareDestinationString()), destination);
    }
}

TEST(HardwareDestination, IsWholeOrInvalid)
{
    EXPECT_FALSE(HardwareDestination().isValid());
    EXPECT_EQ(HardwareDestination(0, -1), HardwareDestination());
    EXPECT_EQ(HardwareDestination(-1, 0), HardwareDestination());
    EXPECT_EQ(HardwareDestination::FromChannelIndex(3), HardwareDestination(0, 3));
    EXPECT_FALSE(HardwareDestination::FromChannelIndex(-1).isValid());
    EXPECT_NE(HardwareDestination(0, 1), HardwareDestination(1, 0));
}

TEST(HardwareSourceConfiguration, KeepsInputAndImpedance)
{
    const HardwareSourceConfiguration configuration(2, 50);
    EXPECT_EQ(configuration.getInput(), 2);
    EXPECT_EQ(configuration.getImpedance(), 50);
    EXPECT_EQ(configuration.getSourceConfigurationString(), QLatin1String("2:50"));
    EXPECT_EQ(utils::ParseHardwareSourceConfigurationFromString(QStringLiteral("2:50")), configuration);
    EXPECT_TRUE(HardwareSourceConfiguration(0, 0).isValid()) << "first input, high impedance";

    EXPECT_EQ(HardwareSourceConfiguration().getSourceConfigurationString(), QString());
    EXPECT_EQ(HardwareSourceConfiguration(-1, 50), HardwareSourceConfiguration());
    EXPECT_EQ(HardwareSourceConfiguration(1, -50), HardwareSourceConfiguration());
    for (const char *text : {"", "2", "2:", "2:-50", "2:50:1", "two:50"})
        EXPECT_EQ(utils::ParseHardwareSourceConfigurationFromString(QLatin1String(text)), HardwareSourceConfiguration())
            << text;
}

TEST(MultiplexerType, ReadsNameAndInputs)
{
    struct Row
    {
        QString text;
        QString name; // empty: invalid
        int inputs;
    };
    const Row rows[] = {
        {QStringLiteral("mux:8"), QStringLiteral("mux"), 8},
        {QStringLiteral("a:b=c:4096"), QStringLiteral("a:b=c"), 4096},
        {QStringLiteral(" mux :1"), QStringLiteral(" mux "), 1},
        {QString(1024, QLatin1Char('m')) + QStringLiteral(":2"), QString(1024, QLatin1Char('m')), 2},
        {QString(1025, QLatin1Char('m')) + QStringLiteral(":2"), QString(), 0},
        {QString(), QString(), 0},
        {QStringLiteral("mux"), QString(), 0},
        {QStringLiteral(":8"), QString(), 0},
        {QStringLiteral("mux:"), QString(), 0},
        {QStringLiteral("mux:0"), QString(), 0},
        {QStringLiteral("mux:-8"), QString(), 0},
        {QStringLiteral("mux:4097"), QString(), 0},
        {QStringLiteral("mux:99999999999"), QString(), 0},
        {QStringLiteral("mux:eight"), QString(), 0},
        {QStringLiteral("m|x:8"), QString(), 0},
    };
    for (const Row &row : rows) {
        const auto type = utils::ParseMultiplexerTypeFromString(row.text);
        EXPECT_EQ(type.isValid(), !row.name.isEmpty()) << qPrintable(row.text);
        EXPECT_EQ(type.getMultiplexerTypeString(), row.name) << qPrintable(row.text);
        EXPECT_EQ(type.getNumberOfInputs(), row.inputs) << qPrintable(row.text);
        EXPECT_EQ(utils::ParseMultiplexerTypeFromString(type.getMultiplexerInformationString()), type);
    }
}

} // namespace
