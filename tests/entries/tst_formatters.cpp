// How the catalogue shows its values: numbers with units, dates, words, lists.

#include "entries/cable_topology.h"
#include "entries/catalogue/administration.h"
#include "entries/catalogue/cable.h"
#include "entries/catalogue/calibration.h"
#include "entries/catalogue/recording.h"
#include "entries/catalogue/replay_header.h"
#include "entries/catalogue/results_dac.h"
#include "entries/catalogue/results_pd.h"
#include "entries/catalogue/results_values.h"
#include "entries/catalogue/shots.h"
#include "entries/catalogue/test.h"
#include "entries/measurement/peak.h"
#include "entries/measurement/samples.h"
#include "entries/property_keys.h"

#include <QDateTime>
#include <QLocale>
#include <QMetaEnum>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>

using namespace CommonNOX;
using namespace CommonNOX::Entries;
// Inside a test, `Test` is the class of the test framework.
namespace TestRecords = CommonNOX::Entries::Test;
using namespace CommonNOX::Entries::Results::Space1D;
using namespace CommonNOX::Entries::Results::Space2D;

namespace
{

class Formatters : public testing::Test
{
protected:
    void SetUp() override { QLocale::setDefault(QLocale::c()); }
    void TearDown() override { QLocale::setDefault(QLocale::system()); }
};

/// The text of one property of an otherwise empty entry.
template <class Entry>
std::string shown(const PropertyKey &key, const QVariant &value)
{
    const auto entry = std::make_shared<Entry>();
    EXPECT_TRUE(entry->set(key, value));
    return Entry::FormatProperty(entry, key).toStdString();
}

struct Row
{
    std::string text;
    const char *expected;
};

void check(std::initializer_list<Row> rows)
{
    for (const Row &row : rows)
        EXPECT_EQ(row.text, row.expected);
}

constexpr double infinity = std::numeric_limits<double>::infinity();

} // namespace

TEST_F(Formatters, NumbersCarryFourSignificantDigits)
{
    const auto metres = [](const QVariant &value) { return shown<Cable::CableV1>(Keys::Length, value); };
    check({{metres(0.0), "0 m"},
           {metres(-0.0), "0 m"},
           {metres(1250.0), "1250 m"},
           {metres(2.50049), "2.5 m"},
           {metres(2.5), "2.5 m"},
           {metres(103.24), "103.2 m"},
           {metres(0.000123461), "0.0001235 m"},
           {metres(9999.6), "10000 m"},
           {metres(-0.99996), "-1 m"},
           {metres(123456.7), "123457 m"},
           {metres(1.5e-7), "1.5e-07 m"},
           {metres(2e15), "2e+15 m"},
           {metres(7), "7 m"},
           {metres(infinity), "– m"},
           {metres(std::nan("")), "– m"},
           {metres(QVariant()), ""},
           {metres(QStringLiteral("7")), ""}});
}

TEST_F(Formatters, NumbersFollowTheLocale)
{
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    check({{shown<Cable::CableV1>(Keys::Length, 1234.0), "1.234 m"},
           {shown<Cable::CableV1>(Keys::Velocity, 172.31), "172,3 m/µs"},
           {shown<DacEnvironmentConditionV1>(Keys::Temperature, -3.5), "-3,5 °C"}});
}

TEST_F(Formatters, QuantitiesShowTheirUnit)
{
    check({{shown<Cable::CableV1>(Keys::U0, 12.0), "12 kV"},
           {shown<Device::DacDeviceV1>(Keys::Inductance, 800.0), "800 mH"},
           {shown<Device::DacDeviceV1>(Keys::AdcResolution, 14), "14 bit"},
           {shown<DacAnalysisRequestV1>(Keys::ReflectionDeadTime, 1.5), "1.5 µs"},
           {shown<DacTdrDampingCurveInformationV1>(Keys::DampingFactorAlpha, 1.2), "1.2 dB/km"},
           {shown<DacEnvironmentConditionV1>(Keys::Pressure, 1013.25), "1013 hPa"},
           {shown<DacEnvironmentConditionV1>(Keys::Humidity, 45.0), "45 %"},
           {shown<TestRecords::DacResultV1>(Keys::Capacitance, 330.0), "330 nF"},
           {shown<TestRecords::DacResultV1>(Keys::TanDeltaCable, 0.00085), "0.85 ·10⁻³"},
           {shown<TestRecords::DacResultV1>(Keys::QMax, 103.2), "103.2 pC"},
           {shown<DisplayedVoltageScopeV1>(Keys::Frequency, 49.98), "49.98 Hz"},
           {shown<DisplayedVoltageScopeV1>(Keys::Resolution, 0.02), "0.02 ms"},
           {shown<Recording::PdTimeNavigationElementV1>(Keys::StartingSecond, qlonglong(3)), "3 s"},
           {shown<PeriodV2>(Keys::StartTime, qlonglong(1) << 53), "9007199254740992 ticks"}});
}

TEST_F(Formatters, ReadingsTakeTheirUnitFromTheRecord)
{
    const auto reading = std::make_shared<SignalValueV1>();
    reading->set(Keys::Value, 103.2);
    EXPECT_EQ(SignalValueV1::FormatProperty(reading, Keys::Value), QStringLiteral("103.2"));
    reading->set(Keys::Unit, QStringLiteral("pC"));
    EXPECT_EQ(SignalValueV1::FormatProperty(reading, Keys::Value), QStringLiteral("103.2 pC"));
    EXPECT_EQ(SignalValueV1::FormatProperty(reading, Keys::Unit), QStringLiteral("pC"));
    EXPECT_EQ(SignalValueV1::FormatProperty(nullptr, Keys::Value), QString());
    EXPECT_EQ(SignalValueV1::FormatProperty(reading, Keys::Rms), QString());

    const auto peak = std::make_shared<QmaxInformationV1>();
    peak->set(Keys::Unit, QStringLiteral("mV"));
    for (const PropertyKey &name : {Keys::AbsoluteMaximumValue, Keys::AbsoluteMinimumValue, Keys::AbsolutePeakValue}) {
        peak->set(name, 5.0);
        EXPECT_EQ(QmaxInformationV1::FormatProperty(peak, name), QStringLiteral("5 mV"));
    }
    check({{shown<VoltageV1>(Keys::Rms, 12.5), "12.5 kV"},
           {shown<VoltageV1>(Keys::Unit, QStringLiteral("V")), "V"},
           {shown<FrequencyV1>(Keys::Value, 50.0), "50 Hz"},
           {shown<FrequencyV1>(Keys::Source, QStringLiteral("line")), "line"}});

    // The register of the class formats by the same rule.
    auto &factory = Shared::Singleton<DataEntryRegisterFactory>::getInstance();
    EXPECT_EQ(factory.formatNestedProperty(reading, {Keys::Value}), QStringLiteral("103.2 pC"));
}

TEST_F(Formatters, RatesAndCalibrations)
{
    const auto rate = [](const QVariant &value) { return shown<PeriodV2>(Keys::SampleRate, value); };
    check({{rate(1000000u), "1 MHz"},
           {rate(62500000u), "62.5 MHz"},
           {rate(44100u), "44.1 kHz"},
           {rate(999u), "999 Hz"},
           {rate(0xffffffffu), "4.295 GHz"},
           {rate(0u), "unknown"},
           {shown<PeriodV2>(Keys::PdCalibration, 0.0), "not calibrated"},
           {shown<PeriodV2>(Keys::PdCalibration, -1e-12), "not calibrated"},
           {shown<PeriodV2>(Keys::PdCalibration, 2e-12), "2e-12"},
           {shown<PeriodV2>(Keys::PdCalibration, -2.25), "-2.25"}});
}

TEST_F(Formatters, DatesAndTimes)
{
    const QDateTime moment({2024, 3, 9}, {14, 5, 6, 999});
    const QDateTime day({2024, 3, 9}, {0, 0}, Qt::OffsetFromUTC, 14 * 3600);
    using Header = Recording::PdReplayHeaderV2;
    using Overview = Recording::PdReplayQtUtOverviewV1;
    const auto duration = [](qint64 value) { return shown<Header>(Keys::File_Duration, value); };
    check({{shown<Header>(Keys::DateTime, moment), "2024-03-09 14:05:06"},
           {shown<Header>(Keys::DateTime, moment.toUTC()), "2024-03-09 14:05:06"},
           {shown<Header>(Keys::DateTime, QDateTime()), ""},
           {shown<Cable::CableV1>(Keys::DateOfManufacture, day), "2024-03-09"},
           {shown<Cable::CableV1>(Keys::DateOfManufacture, QDate(2024, 3, 9)), "2024-03-09"},
           {shown<Overview>(Keys::Timestamp, moment.toMSecsSinceEpoch()), "2024-03-09 14:05:06"},
           {shown<Overview>(Keys::Timestamp, qlonglong(0)), ""},
           {duration(0), "0 s"},
           {duration(12500), "12.5 s"},
           {duration(59999), "60 s"},
           {duration(60000), "0:01:00"},
           {duration(3723999), "1:02:03"},
           {duration(100LL * 3600 * 1000), "100:00:00"},
           {duration(-60000), "-0:01:00"}});
}

TEST_F(Formatters, FlagsBecomeWords)
{
    const auto flags = [](uint value) { return shown<PeriodV2>(Keys::Flags, value); };
    check({{flags(0), "none"},
           {flags(PeriodFlagDirty), "dirty"},
           {flags(PeriodFlagDirty | PeriodFlagMillivolts | PeriodFlagDiscarded), "dirty, millivolts, discarded"},
           {flags(2), "none"},
           {shown<TestRecords::MetaInformationV1>(Keys::Flags, 16u), "0x0010"},
           {shown<Results::Space3D::PatternV1>(Keys::Bipolar, true), "yes"},
           {shown<Results::Space3D::PatternV1>(Keys::Bipolar, false), "no"},
           {shown<Results::Space3D::PatternV1>(Keys::AxisScaling, 2), "logarithmic"}});
}

TEST_F(Formatters, ListsAreJoinedOrCounted)
{
    using Header = Recording::PdReplayHeaderV2;
    const QVariantList pairs = {QVariantList{0, 90}, QVariantList{180.0, 270.5}};
    const auto held = QVariant::fromValue(std::make_shared<SignalValueV1>());
    check({{shown<PeriodBlockV1>(Keys::Periods, QVariantList()), "0 items"},
           {shown<PeriodBlockV1>(Keys::Periods, QVariantList{held}), "1 item"},
           {shown<DacAnalysisRequestV1>(Keys::ShotDataRefs, QStringList{QString(), QString()}), "2 items"},
           {shown<DacAnalysisRequestV1>(Keys::PhaseRanges, pairs), "0–90°, 180–270.5°"},
           {shown<PeriodV2>(Keys::Peaks, QVariant::fromValue(PeakVector(1))), "1 pulse"},
           {shown<PeriodV2>(Keys::Peaks, QVariant::fromValue(PeakVector(12))), "12 pulses"},
           {shown<VoltageScopeV1>(Keys::Samples, QVariant::fromValue(SampleVector(4096))), "4096 samples"},
           {shown<DisplayedPeriodV1>(Keys::Phase, QVariant::fromValue(ValueVector(2))), "2 values"},
           {shown<TestRecords::VlfVoltageOverTimeV1>(Keys::VoltageOverTimeSamples, QVariant::fromValue(ValueVector(4))),
            "2 points"},
           {shown<Results::Space3D::PatternV1>(Keys::Image, QByteArray(2048, 'x')), "2.0 KiB"},
           {shown<Results::Space3D::PatternV1>(Keys::Image, QByteArray()), ""},
           {shown<TestRecords::ShotV1>(Keys::Device, held), "available"},
           {shown<TestRecords::ShotV1>(Keys::Device, QVariant::fromValue(DataEntryConstPtr())), ""},
           {shown<Device::DacDeviceV1>(Keys::GainFactors, QVariantList{1.5, 10, true}), "1.5, 10, yes"},
           {shown<Header>(Keys::Device_HardwareOptions, QStringList{QStringLiteral("a"), QStringLiteral("b")}), "a, b"},
           {shown<Header>(Keys::PD_ChannelEnabled, QVariantList{true, false}), "1: yes, 2: no"},
           {shown<Header>(Keys::PD_GainLevels, QVariantList{QVariantList{1, 2.5}}), "1: 1, 2.5"},
           {shown<Header>(Keys::PD_MinMaxGainIndex, pairs), "1: 0–90, 2: 180–270.5"},
           {shown<Header>(Keys::TV_CalibrationStatus, QVariantList{1, 9}), "1: calibrated, 2: 9"}});
}

/// Every enumerator has a word of its own, and a value that has none shows as its number.
template <class Entry, class Enumeration>
static void expectWords(const PropertyKey &key)
{
    const QMetaEnum meta = QMetaEnum::fromType<Enumeration>();
    std::set<std::string> words;
    for (int i = 0; i < meta.keyCount(); ++i) {
        const std::string text = shown<Entry>(key, meta.value(i));
        EXPECT_NE(text, std::to_string(meta.value(i))) << meta.name() << "::" << meta.key(i);
        EXPECT_TRUE(words.insert(text).second) << meta.name() << "::" << meta.key(i) << " " << text;
    }
    EXPECT_EQ(shown<Entry>(key, 99), "99") << meta.name();
    EXPECT_EQ(shown<Entry>(key, QStringLiteral("1")), "") << meta.name();
}

TEST_F(Formatters, EnumerationsBecomeWords)
{
    expectWords<Cable::CableV1, Cable::DacCableTopology>(Keys::Topology);
    expectWords<TestRecords::DacTestSummaryV1, Cable::DacCableTopology>(Keys::Topology);
    using Request = Calibration::DacCalibrationAnalysisRequestV1;
    expectWords<Request, Calibration::CalibrationAnalysisSourceType>(Keys::CalibrationAnalysisSourceType);
    expectWords<Request, Calibration::CalibrationAnalysisDestinationType>(Keys::CalibrationAnalysisDestinationType);
    expectWords<Calibration::DacPdCalibrationV1, Calibration::CalibrationStatus>(Keys::CalibrationStatus);
    expectWords<Procedure::ProcedureV1, Procedure::ProcedureType>(Keys::Type);
    expectWords<Recording::PdGlobalNavigationElementV1, Recording::PdGlobalNavigationType>(Keys::Type);
    expectWords<DacAnalysisDoubleSideDataSourceV1, CableEnd>(Keys::Type);
    expectWords<TestRecords::TestV1, TestRecords::MeasureMode>(Keys::MeasureMode);
    expectWords<TestRecords::ShotV1, TestRecords::MeasurementType>(Keys::MeasurementType);
    expectWords<TestRecords::DacTestSummaryV1, TestRecords::TestResult>(Keys::TestResult);
    expectWords<TestRecords::MetaInformationV1, TestRecords::TestStatus>(Keys::Status);
}

TEST_F(Formatters, NoValueOfAnyKindUpsetsAFormatter)
{
    const QVariantList strange = {QVariant(),
                                  QVariant::fromValue(DataEntryPtr()),
                                  QStringLiteral("text"),
                                  true,
                                  std::nan(""),
                                  std::numeric_limits<double>::lowest(),
                                  std::numeric_limits<double>::denorm_min(),
                                  std::numeric_limits<qint64>::min(),
                                  std::numeric_limits<quint64>::max(),
                                  QDateTime::fromMSecsSinceEpoch(std::numeric_limits<qint64>::max()),
                                  QVariantList{QVariantList{QVariantList{}}, QVariant()},
                                  QVariant::fromValue(PeakVector(3)),
                                  QByteArray(3, '\0')};
    for (const EntryClassInformation &known : RegisteredEntryClasses()) {
        for (const QVariant &value : strange) {
            const DataEntryPtr entry = known.create();
            const auto reg = known.createRegister(entry);
            for (const QString &name : entry->getPropertyNames()) {
                entry->set(name, value);
                EXPECT_LT(reg->formatProperty(name).size(), 1000) << name.toStdString();
            }
        }
    }
}
