#include "entries/catalogue/results_pd.h"
#include "entries/catalogue/results_values.h"
#include "entries/measurement/samples.h"
#include "entries/property_keys.h"
#include "host/evaluation/reading_format.h"

#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <limits>

namespace
{

using namespace CommonNOX;
using namespace CommonNOX::Entries::Results;
using namespace NoxHost;
namespace Keys = Entries::Keys;

Reading signalReading(double value, const QString &unit, int channel = 0)
{
    const auto record = std::make_shared<Space1D::SignalValueV1>();
    record->set(Keys::Value, value);
    record->set(Keys::Unit, unit);
    return {12, channel, QStringLiteral("qiec"), record};
}

TEST(ReadingFormat, JsonLineIsWhatOtherProgramsRead)
{
    const QString pC = QStringLiteral("pC");
    const struct
    {
        Reading reading;
        std::string line;
    } rows[] = {
        {signalReading(103.2, pC), R"({"period":12,"channel":0,"processor":"qiec","Value":103.2,"Unit":"pC"})"},
        {signalReading(0.1, pC),
         R"({"period":12,"channel":0,"processor":"qiec","Value":0.10000000000000001,"Unit":"pC"})"},
        {signalReading(-1e300, pC),
         R"({"period":12,"channel":0,"processor":"qiec","Value":-1.0000000000000001e+300,"Unit":"pC"})"},
        {signalReading(std::numeric_limits<double>::quiet_NaN(), pC),
         R"({"period":12,"channel":0,"processor":"qiec","Value":null,"Unit":"pC"})"},
        {signalReading(std::numeric_limits<double>::infinity(), pC, -1),
         R"({"period":12,"processor":"qiec","Value":null,"Unit":"pC"})"},
        {signalReading(1.0, QStringLiteral("a\"\\\n\u00b5")),
         "{\"period\":12,\"channel\":0,\"processor\":\"qiec\",\"Value\":1,\"Unit\":\"a\\\"\\\\\\u000a\xc2\xb5\"}"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(toJsonLine(row.reading), row.line + '\n');
        EXPECT_FALSE(QJsonDocument::fromJson(QByteArray::fromStdString(row.line)).isNull()) << row.line;
    }
}

TEST(ReadingFormat, ListsStandAsListsInJsonAndAsCountsForPeople)
{
    const auto record = std::make_shared<Space2D::DisplayedPeriodV1>();
    record->set(Keys::Signal, QVariant::fromValue(Entries::ValueVector{1.5, -2.0}));
    const Reading reading{0, 3, QStringLiteral("displayed_period"), record};
    const auto object = QJsonDocument::fromJson(QByteArray::fromStdString(toJsonLine(reading))).object();
    EXPECT_EQ(object.value(QStringLiteral("Signal")).toVariant().toList(), (QVariantList{1.5, -2.0}));
    EXPECT_TRUE(describeRecord(reading).contains(QStringLiteral("2 values"))) << qPrintable(describeRecord(reading));
}

TEST(ReadingFormat, CsvQuotesWhatWouldBreakALine)
{
    EXPECT_EQ(toCsvLines(signalReading(2.5, QStringLiteral("a,\"b\""))),
              "12,0,qiec,Value,2.5\n12,0,qiec,Unit,\"a,\"\"b\"\"\"\n");
}

TEST(ReadingFormat, PeopleSeeUnits)
{
    EXPECT_EQ(describeRecord(signalReading(103.25, QStringLiteral("pC"))), QStringLiteral("103.25 pC"));
    const auto maxima = std::make_shared<Space1D::QmaxInformationV1>();
    maxima->set(Keys::AbsoluteMaximumValue, 240.0);
    maxima->set(Keys::AbsoluteMinimumValue, 350.0);
    maxima->set(Keys::AbsolutePeakValue, 350.0);
    maxima->set(Keys::Unit, QStringLiteral("mV"));
    EXPECT_EQ(describeRecord({0, 0, QStringLiteral("qmax"), maxima}), QStringLiteral("350 mV peak, + 240 / - 350 mV"));
}

} // namespace
