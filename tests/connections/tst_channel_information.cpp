#include "connections/channels/channel_change_request.h"
#include "connections/channels/channel_information.h"
#include "connections/channels/channel_text.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTranslator>

#include <limits>
#include <memory>
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

TEST(ChannelInformation, GivesBackWhatItWasMadeOf)
{
    const Sketch sketch = fullSketch();
    const ChannelInformation channel = sketch.channel();
    EXPECT_EQ(channel.getChannelIndex(), 5);
    EXPECT_EQ(channel.getCouplingType(), sketch.coupling);
    EXPECT_EQ(channel.getFunctionType(), sketch.function);
    EXPECT_EQ(channel.getSynchronisationSourceType(), sketch.synchronisation);
    EXPECT_EQ(channel.getHardwareDestination(), sketch.destination);
    EXPECT_EQ(channel.getMultiplexerType(), sketch.multiplexer);
    EXPECT_EQ(channel.getHardwareSourceConfiguration(), sketch.source);
    EXPECT_FALSE(channel.isDefaultEnabled());
    EXPECT_TRUE(channel.isConnectedToMultiplexer());
    EXPECT_FALSE(Sketch().channel().isConnectedToMultiplexer());
    EXPECT_TRUE(Sketch().channel().isDefaultEnabled());
}

TEST(ChannelInformation, NeedsIndexTypesAndDestination)
{
    EXPECT_TRUE(Sketch().channel().isValid());
    EXPECT_TRUE(fullSketch().channel().isValid());
    EXPECT_FALSE(ChannelInformation().isValid());
    EXPECT_FALSE(Sketch{.index = -1}.channel().isValid());
    EXPECT_FALSE(Sketch{.coupling = Coupling::Invalid}.channel().isValid());
    EXPECT_FALSE(Sketch{.function = Function::Invalid}.channel().isValid());
    EXPECT_FALSE(Sketch{.synchronisation = SynchronisationSource::Invalid}.channel().isValid());
    EXPECT_FALSE(Sketch{.destination = HardwareDestination()}.channel().isValid());
}

TEST(ChannelInformation, LabelsItselfByFunctionAndCoupling)
{
    struct Row
    {
        int function;
        int coupling;
        int index;
        const char *name;
        const char *expected;
    };
    const Row rows[] = {
        {1, 1, 0, "", "PD 1"},
        {1, 2, 0, "", "IN 1"},
        {1, 3, 0, "", "CH 1"},
        {1, 0, 0, "", "CH 1"},
        {2, 1, 1, "", "GATING 2"},
        {2, 2, 1, "", "GATING 2"},
        {3, 2, 9, "", "TV 10"},
        {4, 1, 2, "", "INPUT 3"},
        {0, 1, 0, "", "CH 1"},
        {99, 1, 0, "", "CH 1"},
        {1, 1, -1, "", "PD 0"},
        {1, 1, std::numeric_limits<int>::max(), "", "PD 2147483648"},
        {1, 1, 0, "Phase L1", "Phase L1"},
        {3, 2, 7, "%1 left", "%1 left"},
        {1, 1, 0, " ", " "},
        {1, 1, 0, "a|b", "a/b"}, // '|' would end the item of the text form
    };
    for (const Row &row : rows) {
        const Sketch sketch{.index = row.index,
                            .coupling = Coupling(row.coupling),
                            .function = Function(row.function),
                            .name = QLatin1String(row.name)};
        EXPECT_EQ(sketch.channel().getChannelName(), QLatin1String(row.expected))
            << row.function << "/" << row.coupling;
    }
}

class Backwards : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char *, const char *sourceText, const char *, int) const override
    {
        return qstrcmp(sourceText, "PD %1") == 0 ? QStringLiteral("%1. TE") : QString();
    }
};

TEST(ChannelInformation, TranslatesThePatternBeforeTheNumberIsFilledIn)
{
    int argumentCount = 1;
    char program[] = "tst";
    char *arguments[] = {program, nullptr};
    std::unique_ptr<QCoreApplication> application;
    if (!QCoreApplication::instance())
        application = std::make_unique<QCoreApplication>(argumentCount, arguments);

    Backwards translator;
    ASSERT_TRUE(QCoreApplication::installTranslator(&translator));
    const QString translated = Sketch{.index = 3}.channel().getChannelName();
    const QString named = Sketch{.name = QStringLiteral("PD %1")}.channel().getChannelName();
    QCoreApplication::removeTranslator(&translator);
    EXPECT_EQ(translated, QLatin1String("4. TE"));
    EXPECT_EQ(named, QLatin1String("PD %1")) << "a user's name is no pattern";
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
    std::vector<ChannelInformation> channels{ChannelInformation(), Sketch().channel(), fullSketch().channel(),
                                             Sketch{.index = -7}.channel(),
                                             Sketch{.destination = HardwareDestination()}.channel()};
    for (const QString &name : {QStringLiteral("a=b=c"), QStringLiteral("="), QStringLiteral("%1;%2"),
                                QStringLiteral("a|b||c"), QStringLiteral("index=9"), QStringLiteral(" spaced "),
                                QStringLiteral("Ärger \U0001F4A1"), QString(4000, QLatin1Char('n'))})
        channels.push_back(Sketch{.name = name}.channel());
    for (int value = 1; value <= 7; ++value)
        channels.push_back(Sketch{.coupling = Coupling(value),
                                  .function = Function(1 + value % 4),
                                  .synchronisation = SynchronisationSource(1 + value / 2)}
                               .channel());
    channels.push_back(Sketch{.multiplexer = MultiplexerType(QStringLiteral("m=x:y"), 4)}.channel());

    for (const ChannelInformation &channel : channels) {
        const QString text = channel.getChannelInformationString();
        EXPECT_EQ(ParseChannelInformationFromString(text), channel) << qPrintable(text);
        EXPECT_EQ(ParseChannelInformationFromString(text, 42), channel) << "a present index wins " << qPrintable(text);
    }
}

TEST(ParseChannelInformationFromString, FillsInWhatIsMissing)
{
    const Sketch third{.index = 2, .destination = HardwareDestination(0, 2)};
    struct Row
    {
        const char *text;
        Sketch expected;
    };
    const auto changed = [&](auto change) {
        Sketch sketch = third;
        change(sketch);
        return sketch;
    };
    const Row rows[] = {
        {"", third},
        {"|||", third},
        {"nonsense", third},
        {"further=1|=|=x", third},
        {"name=L1", changed([](Sketch &s) { s.name = QStringLiteral("L1"); })},
        {"name=first|name=second", changed([](Sketch &s) { s.name = QStringLiteral("second"); })},
        {"||default_enabled=0||", changed([](Sketch &s) { s.enabled = false; })},
        {"default_enabled=no", third},
        {"function_type=tv", changed([](Sketch &s) { s.function = Function::TestVoltage; })},
        {"index=6", changed([](Sketch &s) { s.index = 6, s.destination = HardwareDestination(0, 6); })},
        {"index=6|hardware=3:1", changed([](Sketch &s) { s.index = 6, s.destination = HardwareDestination(3, 1); })},
        {"multiplexer=none|source=none", third},
        // Present but unreadable is invalid, not missing.
        {"index=six", changed([](Sketch &s) { s.index = -1, s.destination = HardwareDestination(); })},
        {"index=4294967296", changed([](Sketch &s) { s.index = -1, s.destination = HardwareDestination(); })},
        {"hardware=", changed([](Sketch &s) { s.destination = HardwareDestination(); })},
        {"coupling_type=", changed([](Sketch &s) { s.coupling = Coupling::Invalid; })},
        {"function_type=PD", changed([](Sketch &s) { s.function = Function::Invalid; })},
        {"synchronisation_source_type=external",
         changed([](Sketch &s) { s.synchronisation = SynchronisationSource::Invalid; })},
    };
    for (const Row &row : rows) {
        const ChannelInformation read = ParseChannelInformationFromString(QLatin1String(row.text), 2);
        EXPECT_EQ(read, row.expected.channel())
            << row.text << " read as " << qPrintable(read.getChannelInformationString());
    }
    EXPECT_FALSE(ParseChannelInformationFromString(QString()).isValid()) << "no place in a list, no index";
}

TEST(ParseChannelInformationFromString, RefusesOversizedText)
{
    const auto named = [](int length) { return QStringLiteral("name=") + QString(length, QLatin1Char('n')); };
    EXPECT_TRUE(ParseChannelInformationFromString(named(Text::MaximumItemLength - 5), 0).isValid());
    EXPECT_FALSE(ParseChannelInformationFromString(named(Text::MaximumItemLength - 4), 0).isValid());
    EXPECT_TRUE(ParseChannelInformationFromString(QString(Text::MaximumTextLength, QLatin1Char('|')), 0).isValid());
    EXPECT_FALSE(
        ParseChannelInformationFromString(QString(Text::MaximumTextLength + 1, QLatin1Char('|')), 0).isValid());
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
    const Row rows[] = {
        {"Index", QStringLiteral("7"), true, 7},
        {"Index", 7.0, true, 7},
        {"Index", 7.5, false, -1},
        {"Index", -3, false, -3},
        {"Index", qint64(1) << 32, false, -1},
        {"Index", 1e300, false, -1},
        {"Index", std::numeric_limits<double>::quiet_NaN(), false, -1},
        {"Index", QStringLiteral("seven"), false, -1},
        {"Index", QVariant(), false, -1},
        {"CouplingType", QVariant(), false, 0},
        {"CouplingType", 1, false, 0}, // a number is no text of a type
        {"FunctionType", QStringLiteral("PD"), false, 0},
        {"SynchronisationSourceType", QStringLiteral(""), false, 0},
        {"HardwareDestination", 5, false, 0},
        {"HardwareSource", QStringLiteral("unknown"), true, 0},
        {"HardwareSource", QString(), true, 0},
        {"HardwareSourceConfig", QStringLiteral("unknown"), true, 0},
        {"Name", QString(Text::MaximumItemLength, QLatin1Char('n')), false, -1},
    };
    // The invalid one must not be found under the name that is missing.
    const QList<MultiplexerType> multiplexers{MultiplexerType(), MultiplexerType(QStringLiteral("mux"), 8)};
    for (const Row &row : rows) {
        QMap<QString, QVariant> settings{{QStringLiteral("HardwareDestination"), QStringLiteral("0:0")}};
        settings.insert(QLatin1String(row.key), row.value);
        const ChannelInformation channel = ParseChannelInformationData(0, settings, multiplexers);
        EXPECT_EQ(channel.isValid(), row.valid) << row.key << " " << qPrintable(row.value.toString());
        EXPECT_EQ(channel.getChannelIndex(), row.index) << row.key << " " << qPrintable(row.value.toString());
        EXPECT_FALSE(channel.isConnectedToMultiplexer());
        EXPECT_FALSE(channel.getHardwareSourceConfiguration().isValid());
    }
}

TEST(ChannelChangeRequest, RefusesWhatWouldMakeItInvalid)
{
    ChannelChangeRequest request(Function::Pd, 3, true);
    EXPECT_FALSE(request.setFunction(Function::Invalid));
    EXPECT_FALSE(request.setIndex(-1));
    EXPECT_EQ(request, ChannelChangeRequest(Function::Pd, 3, true));
    EXPECT_TRUE(request.setFunction(Function::Input));
    EXPECT_TRUE(request.setIndex(0));
    request.setEnable(false);
    EXPECT_EQ(request, ChannelChangeRequest(Function::Input, 0, false));
    EXPECT_TRUE(request.isValid());
    EXPECT_FALSE(ChannelChangeRequest().isValid());
    EXPECT_FALSE(ChannelChangeRequest(Function::Pd).isValid());
    EXPECT_FALSE(ChannelChangeRequest(Function::Invalid, 0, true).isValid());
}

TEST(ChannelChangeRequest, ReadsItsTextLeniently)
{
    const ChannelChangeRequest invalid(Function::Invalid, -1, false);
    struct Row
    {
        QString text;
        ChannelChangeRequest expected;
    };
    const Row rows[] = {
        {QStringLiteral("pd;3;1"), ChannelChangeRequest(Function::Pd, 3, true)},
        {QStringLiteral("tv;0;0"), ChannelChangeRequest(Function::TestVoltage, 0, false)},
        {QStringLiteral("pd;;3;1"), ChannelChangeRequest(Function::Pd, 3, true)},
        {QStringLiteral(";pd;3;1;"), ChannelChangeRequest(Function::Pd, 3, true)},
        {QStringLiteral("pd;x;1"), ChannelChangeRequest(Function::Pd, -1, true)},
        {QStringLiteral("pd;0x3;1"), ChannelChangeRequest(Function::Pd, -1, true)},
        {QStringLiteral("pd;3;true"), ChannelChangeRequest(Function::Pd, 3, true)},
        {QStringLiteral("pd;3;false"), ChannelChangeRequest(Function::Pd, 3, true)}, // only "0" disables
        {QStringLiteral("pd;3;00"), ChannelChangeRequest(Function::Pd, 3, true)},
        {QStringLiteral("f;3;1"), ChannelChangeRequest(Function::Invalid, 3, true)},
        {QStringLiteral("pd;3"), invalid},
        {QStringLiteral("pd;3;1;1"), invalid},
        {QString(), invalid},
        {QStringLiteral(";;;"), invalid},
        {QStringLiteral("pd;3;") + QString(Text::MaximumTextLength, QLatin1Char('1')), invalid},
    };
    for (const Row &row : rows) {
        const ChannelChangeRequest read = ChannelChangeRequest::FromString(row.text);
        EXPECT_EQ(read, row.expected) << qPrintable(row.text.left(40));
        EXPECT_EQ(ChannelChangeRequest::FromString(read.toString()), read) << qPrintable(read.toString());
    }
    EXPECT_EQ(ChannelChangeRequest(Function::Gating, 12, true).toString(), QLatin1String("gating;12;1"));
}

} // namespace
