#include "connections/channels/channel_change_request.h"
#include "connections/channels/channel_information.h"
#include "connections/channels/channel_text.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

using namespace CommonNOX::Devices::Channels;
namespace Hardware = CommonNOX::Hardware;
using Hardware::Coupling;
using Hardware::Function;
using Hardware::HardwareDestination;
using Hardware::HardwareSourceConfiguration;
using Hardware::MultiplexerType;
using Hardware::SynchronisationSource;

namespace
{

/// A valid channel of which a test changes what it is about.
struct Sketch
{
    int index = 0;
    Coupling coupling = Coupling::Default;
    Function function = Function::Pd;
    SynchronisationSource synchronisation = SynchronisationSource::External;
    HardwareDestination destination = HardwareDestination(0, 0);
    QString name = QString();
    MultiplexerType multiplexer = MultiplexerType();
    HardwareSourceConfiguration source = HardwareSourceConfiguration();
    bool enabled = true;

    ChannelInformation channel() const
    {
        return ChannelInformation(index, coupling, function, synchronisation, destination, name, multiplexer, source,
                                  enabled);
    }
};

Sketch fullSketch()
{
    return {.index = 5,
            .coupling = Coupling::HighFrequencyCurrentTransformer,
            .function = Function::Gating,
            .synchronisation = SynchronisationSource::Line,
            .destination = HardwareDestination(1, 7),
            .name = QStringLiteral("Phase L1"),
            .multiplexer = MultiplexerType(QStringLiteral("mux"), 8),
            .source = HardwareSourceConfiguration(3, 50),
            .enabled = false};
}

TEST(ChannelInformation, LabelsItselfByFunctionAndCoupling)
{
    struct Row
    {
        int function, coupling, index;
        const char *name, *expected;
    };
    for (const Row &row :
         {Row{1, 1, 0, "", "PD 1"}, Row{1, 2, 0, "", "IN 1"}, Row{1, 3, 0, "", "CH 1"}, Row{1, 0, 0, "", "CH 1"},
          Row{2, 2, 1, "", "GATING 2"}, Row{3, 2, 9, "", "TV 10"}, Row{4, 1, 2, "", "INPUT 3"},
          Row{99, 1, 0, "", "CH 1"}, Row{1, 1, std::numeric_limits<int>::max(), "", "PD 2147483648"},
          Row{3, 2, 7, "%1 left", "%1 left"}, Row{1, 1, 0, "a|b", "a/b"}}) {
        const Sketch sketch{.index = row.index,
                            .coupling = Coupling(row.coupling),
                            .function = Function(row.function),
                            .name = QLatin1String(row.name)};
        EXPECT_EQ(sketch.channel().getChannelName(), QLatin1String(row.expected)) << row.expected;
    }
}

TEST(ChannelInformation, WritesItsItemsInOrder)
{
    EXPECT_EQ(fullSketch().channel().getChannelInformationString(),
              QLatin1String("index=5|coupling_type=hfct|function_type=gating|synchronisation_source_type=line|"
                            "hardware=1:7|name=Phase L1|multiplexer=mux:8|source=3:50|default_enabled=0"));
    EXPECT_EQ(Sketch().channel().getChannelInformationString(),
              QLatin1String("index=0|coupling_type=default|function_type=pd|synchronisation_source_type=extern|"
                            "hardware=0:0|name=|multiplexer=|source=|default_enabled=1"));
}

TEST(ChannelInformation, TextFormRoundTrips)
{
    std::vector<ChannelInformation> channels{
        ChannelInformation(), Sketch().channel(), fullSketch().channel(), Sketch{.index = -7}.channel(),
        Sketch{.multiplexer = MultiplexerType(QStringLiteral("m=x:y"), 4)}.channel()};
    for (const char *name : {"a=b=c", "=", "%1;%2", "a|b||c", "index=9", " spaced ", "Ärger \U0001F4A1"})
        channels.push_back(Sketch{.name = QString::fromUtf8(name)}.channel());
    for (const ChannelInformation &channel : channels) {
        const QString text = channel.getChannelInformationString();
        EXPECT_EQ(ParseChannelInformationFromString(text, 42), channel) << "a present index wins " << qPrintable(text);
    }
}

TEST(ParseChannelInformationFromString, FillsInWhatIsMissing)
{
    struct Row
    {
        const char *text, *changed; // what differs from a third channel, written in full
    };
    const QString third =
        Sketch{.index = 2, .destination = HardwareDestination(0, 2)}.channel().getChannelInformationString();
    for (const Row &row : {Row{"", ""}, Row{"nonsense|further=1|=|=x", ""}, Row{"default_enabled=no", ""},
                           Row{"multiplexer=none|source=none", ""}, Row{"name=first|name=second", "name=second"},
                           Row{"||default_enabled=0||", "default_enabled=0"}, Row{"index=6", "index=6|hardware=0:6"},
                           Row{"index=6|hardware=3:1", "index=6|hardware=3:1"}}) {
        const ChannelInformation expected =
            ParseChannelInformationFromString(third + QLatin1Char('|') + QLatin1String(row.changed));
        EXPECT_EQ(ParseChannelInformationFromString(QLatin1String(row.text), 2), expected) << row.text;
    }
    // Present but unreadable is invalid, not missing.
    for (const char *text : {"index=six", "index=4294967296", "hardware=", "coupling_type=", "function_type=PD",
                             "synchronisation_source_type=external"})
        EXPECT_FALSE(ParseChannelInformationFromString(QLatin1String(text), 2).isValid()) << text;
    EXPECT_FALSE(ParseChannelInformationFromString(QString()).isValid()) << "no place in a list, no index";
}

TEST(ParseChannelInformationFromString, RefusesOversizedText)
{
    const auto valid = [](const QString &text) { return ParseChannelInformationFromString(text, 0).isValid(); };
    const QString name = QStringLiteral("name=") + QString(Text::MaximumItemLength - 5, QLatin1Char('n'));
    const QString bars(Text::MaximumTextLength, QLatin1Char('|'));
    EXPECT_TRUE(valid(name) && valid(bars));
    EXPECT_FALSE(valid(name + QLatin1Char('n')) || valid(bars + QLatin1Char('|')));
}

TEST(ParseChannelInformationData, ReadsDeviceSettings)
{
    const QList<MultiplexerType> multiplexers{MultiplexerType(QStringLiteral("small"), 4),
                                              MultiplexerType(QStringLiteral("mux"), 8)};
    const QMap<QString, QVariant> settings{
        {QStringLiteral("Index"), 5},
        {QStringLiteral("CouplingType"), QStringLiteral("hfct")},
        {QStringLiteral("FunctionType"), QStringLiteral("gating")},
        {QStringLiteral("SynchronisationSourceType"), QStringLiteral("line")},
        {QStringLiteral("HardwareSource"), QStringLiteral("mux")},
        {QStringLiteral("HardwareSourceConfig"), QStringLiteral("3:50")},
        {QStringLiteral("HardwareDestination"), QStringLiteral("1:7")},
        {QStringLiteral("Name"), QStringLiteral("Phase L1")},
        {QStringLiteral("DefaultEnabled"), false},
    };
    EXPECT_EQ(ParseChannelInformationData(2, settings, multiplexers), fullSketch().channel());

    const QMap<QString, QVariant> least{{QStringLiteral("HardwareDestination"), QStringLiteral("0:0")}};
    EXPECT_EQ(ParseChannelInformationData(2, least, multiplexers), Sketch{.index = 2}.channel());
    EXPECT_FALSE(ParseChannelInformationData(2, {}, multiplexers).isValid()) << "data must go somewhere";
}

TEST(ParseChannelInformationData, TakesOddValuesForWhatTheyAre)
{
    struct Row
    {
        const char *key;
        QVariant value;
        bool valid;
        int index;
    };
    const auto text = [](const char *latin) { return QVariant(QLatin1String(latin)); };
    const QString longest(Text::MaximumItemLength, QLatin1Char('n'));
    // A number is no text of a type.
    const auto rows = {Row{"Index", text("7"), true, 7},
                       Row{"Index", 7.0, true, 7},
                       Row{"Index", 7.5, false, -1},
                       Row{"Index", qint64(1) << 32, false, -1},
                       Row{"Index", qQNaN(), false, -1},
                       Row{"Index", QVariant(), false, -1},
                       Row{"CouplingType", 1, false, 0},
                       Row{"SynchronisationSourceType", text(""), false, 0},
                       Row{"HardwareDestination", 5, false, 0},
                       Row{"HardwareSource", QString(), true, 0},
                       Row{"HardwareSourceConfig", text("unknown"), true, 0},
                       Row{"Name", longest, false, -1}};
    // The invalid one must not be found under the name that is missing.
    const QList<MultiplexerType> multiplexers{MultiplexerType(), MultiplexerType(QStringLiteral("mux"), 8)};
    for (const Row &row : rows) {
        QMap<QString, QVariant> settings{{QStringLiteral("HardwareDestination"), QStringLiteral("0:0")}};
        settings.insert(QLatin1String(row.key), row.value);
        const ChannelInformation channel = ParseChannelInformationData(0, settings, multiplexers);
        EXPECT_EQ(channel.isValid(), row.valid) << row.key << " " << qPrintable(row.value.toString());
        EXPECT_EQ(channel.getChannelIndex(), row.index) << row.key << " " << qPrintable(row.value.toString());
        EXPECT_FALSE(channel.isConnectedToMultiplexer());
    }
}

TEST(ChannelChangeRequest, ReadsItsTextLenientlyAndStaysValid)
{
    const ChannelChangeRequest third(Function::Pd, 3, true), invalid(Function::Invalid, -1, false);
    const QString oversized(Text::MaximumTextLength, QLatin1Char('1'));
    struct Row
    {
        const char *text;
        ChannelChangeRequest expected;
    };
    for (const Row &row :
         {Row{"tv;0;0", ChannelChangeRequest(Function::TestVoltage, 0, false)}, Row{";pd;;3;1;", third},
          Row{"pd;3;false", third}, Row{"pd;3;00", third}, // only "0" disables
          Row{"pd;0x3;1", ChannelChangeRequest(Function::Pd, -1, true)},
          Row{"f;3;1", ChannelChangeRequest(Function::Invalid, 3, true)}, Row{"pd;3", invalid},
          Row{"pd;3;1;1", invalid}, Row{";;;", invalid}}) {
        const ChannelChangeRequest read = ChannelChangeRequest::FromString(QLatin1String(row.text));
        EXPECT_EQ(read, row.expected) << row.text;
        EXPECT_EQ(ChannelChangeRequest::FromString(read.toString()), read) << qPrintable(read.toString());
    }
    EXPECT_EQ(ChannelChangeRequest::FromString(QStringLiteral("pd;3;") + oversized), invalid);
    EXPECT_EQ(ChannelChangeRequest(Function::Gating, 12, true).toString(), QLatin1String("gating;12;1"));
    ChannelChangeRequest request = third;
    EXPECT_FALSE(request.setFunction(Function::Invalid) || request.setIndex(-1));
    EXPECT_EQ(request, third);
    EXPECT_TRUE(request.setFunction(Function::Input) && request.setIndex(0));
    EXPECT_EQ(request, ChannelChangeRequest(Function::Input, 0, true));
    EXPECT_FALSE(invalid.isValid() || ChannelChangeRequest(Function::Pd).isValid());
}

} // namespace
