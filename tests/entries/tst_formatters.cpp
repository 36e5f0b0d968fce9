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
using Header = Recording::PdReplayHeaderV2;

/// The texts of one property of an otherwise empty entry.
template <class Entry>
static std::string shown(const PropertyKey &key, const QVariantList &values)
{
    QLocale::setDefault(QLocale::c());
    QStringList texts;
    for (const QVariant &value : values) {
        const auto entry = std::make_shared<Entry>();
        EXPECT_TRUE(entry->set(key, value));
        texts += Entry::FormatProperty(entry, key);
    }
    return texts.join(QStringLiteral(" | ")).toStdString();
}

TEST(Formatters, Numbers)
{
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(shown<Cable::CableV1>(Keys::Length, {-0.0, 2.50049, 0.000123461, 9999.6, -0.99996, 123456.7, 1.5e-7, 2e15,
                                                   infinity, std::nan(""), QVariant(), QStringLiteral("7")}),
              "0 m | 2.5 m | 0.0001235 m | 10000 m | -1 m | 123457 m | 1.5e-07 m | 2e+15 m | – m | – m |  | ");
    EXPECT_EQ(shown<TestRecords::DacResultV1>(Keys::TanDeltaCable, {0.00085}), "0.85 ·10⁻³");
    EXPECT_EQ(shown<PeriodV2>(Keys::StartTime, {qlonglong(1) << 53}), "9007199254740992 ticks");
    EXPECT_EQ(shown<PeriodV2>(Keys::SampleRate, {62500000u, 44100u, 999u, 0xffffffffu, 0u}),
              "62.5 MHz | 44.1 kHz | 999 Hz | 4.295 GHz | unknown");
    EXPECT_EQ(shown<PeriodV2>(Keys::PdCalibration, {-1e-12, 2e-12}), "not calibrated | 2e-12");
    const auto cable = std::make_shared<Cable::CableV1>();
    cable->set(Keys::Length, 1234.0);
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    EXPECT_EQ(Cable::CableV1::FormatProperty(cable, Keys::Length), QStringLiteral("1.234 m"));
    QLocale::setDefault(QLocale::c());
}

TEST(Formatters, ReadingsTakeTheirUnitFromTheRecord)
{
    const auto reading = std::make_shared<SignalValueV1>();
    reading->set(Keys::Value, 103.2);
    EXPECT_EQ(SignalValueV1::FormatProperty(reading, Keys::Value), QStringLiteral("103.2"));
    reading->set(Keys::Unit, QStringLiteral("pC"));
    EXPECT_EQ(SignalValueV1::FormatProperty(reading, Keys::Value), QStringLiteral("103.2 pC"));
    EXPECT_EQ(SignalValueV1::FormatProperty(nullptr, Keys::Value), QString());
}

/// Every enumerator has a word of its own, and a value that has none shows as its number.
template <class Entry, class Enumeration>
static void expectWords(const PropertyKey &key)
{
    const QMetaEnum meta = QMetaEnum::fromType<Enumeration>();
    std::set<std::string> words;
    for (int i = 0; i < meta.keyCount(); ++i) {
        const std::string text = shown<Entry>(key, {meta.value(i)});
        EXPECT_NE(text, std::to_string(meta.value(i))) << meta.name() << "::" << meta.key(i);
        EXPECT_TRUE(words.insert(text).second) << meta.name() << "::" << meta.key(i) << " " << text;
    }
    EXPECT_EQ(shown<Entry>(key, {99}), "99") << meta.name();
}

TEST(Formatters, EnumerationsBecomeWords)
{
    expectWords<Cable::CableV1, Cable::DacCableTopology>(Keys::Topology);
    using Request = Calibration::DacCalibrationAnalysisRequestV1;
    expectWords<Request, Calibration::CalibrationAnalysisSourceType>(Keys::CalibrationAnalysisSourceType);
    expectWords<Request, Calibration::CalibrationAnalysisDestinationType>(Keys::CalibrationAnalysisDestinationType);
    expectWords<Calibration::DacPdCalibrationV1, Calibration::CalibrationStatus>(Keys::CalibrationStatus);
    expectWords<Procedure::ProcedureV1, Procedure::ProcedureType>(Keys::Type);
    expectWords<Recording::PdGlobalNavigationElementV1, Recording::PdGlobalNavigationType>(Keys::Type);
    expectWords<DacAnalysisDoubleSideDataSourceV1, CableEnd>(Keys::Type);
    expectWords<TestRecords::TestV1, TestRecords::MeasureMode>(Keys::MeasureMode);
    expectWords<TestRecords::DacTestSummaryV1, TestRecords::TestResult>(Keys::TestResult);
    expectWords<TestRecords::MetaInformationV1, TestRecords::TestStatus>(Keys::Status);
}

TEST(Formatters, NoValueOfAnyKindUpsetsAFormatter)
{
    QVariantList strange = {QVariant(), QStringLiteral("text"), std::nan(""), std::numeric_limits<double>::lowest()};
    strange << std::numeric_limits<qint64>::min() << std::numeric_limits<quint64>::max();
    strange << QDateTime::fromMSecsSinceEpoch(std::numeric_limits<qint64>::max()) << QVariant::fromValue(DataEntryPtr())
            << QVariant(QVariantList{QVariant(QVariantList{QVariant()}), 1}) << QVariant::fromValue(PeakVector(3));
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
