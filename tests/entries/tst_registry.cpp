#include "entries/catalogue/cable.h"
#include "entries/catalogue/results_pd.h"
#include "entries/measurement/peak.h"
#include "entries/property_keys.h"
#include "record.h"
#include "tests/support/log_catcher.h"

#include <gtest/gtest.h>

#include <memory>

using namespace CommonNOX;
using Entries::Cable::CableCoreV1;
using Entries::Cable::CableV1;
using namespace Entries::Results::Space2D;
namespace Keys = CommonNOX::Entries::Keys;

static std::shared_ptr<const QVariant> element(const QVariant &value)
{
    return std::make_shared<const QVariant>(value);
}

static std::shared_ptr<FrameworkCore::AppData::Interfaces::DataElementParserInterface> parser(const char *key)
{
    return Utilities::GetAppDataRepositoryInterface()->createParser(QLatin1String(key));
}

static const DataEntryRegisterFactory &factory()
{
    return Shared::Singleton<DataEntryRegisterFactory>::getInstance();
}

namespace
{

TEST(Singleton, IsTheOneOfTheLibrary)
{
    // The library filled its own while it was loaded; this program sees an instance through its own code.
    EXPECT_EQ(std::size_t(factory().getRegisteredProductIdentifier().size()), RegisteredEntryClasses().size());
    EXPECT_TRUE(factory().isProductRegistered(CableV1::Guid()));
}

TEST(Parser, TakesAnEntryHeldInAnyWay)
{
    CableCoreV1 core;
    core.set(Keys::Name, QStringLiteral("L1"));
    const auto cores = parser("nox_dac_cable_core_v1");
    const QByteArray bytes = wire(core);
    const auto shared = std::make_shared<CableCoreV1>(core);
    const QVariant general = QVariant::fromValue(DataEntryConstPtr(shared));
    for (const QVariant &value : {QVariant::fromValue(core), QVariant::fromValue(shared), general})
        EXPECT_EQ(cores->convertToRawData(element(value)), bytes) << value.typeName();
    EXPECT_EQ(parser("nox_dac_cable_v1")->convertToRawData(element(general)), bytes) << "whatever its class";
    const auto parsed = cores->parse(bytes);
    EXPECT_EQ(parsed->userType(), qMetaTypeId<std::shared_ptr<CableCoreV1>>());
    EXPECT_EQ(parsed->value<std::shared_ptr<CableCoreV1>>()->get(Keys::Name), QStringLiteral("L1"));
}

TEST(Parser, LogsWhatItCannotTake)
{
    const auto cores = parser("nox_dac_cable_core_v1");
    const LogCatcher log;
    EXPECT_TRUE(cores->convertToRawData(nullptr).isEmpty());
    for (const QVariant &value : {QVariant(5), QVariant(), QVariant::fromValue(std::shared_ptr<CableCoreV1>())})
        EXPECT_TRUE(cores->convertToRawData(element(value)).isEmpty()) << value.typeName();
    const QStringList lines = LogCatcher::take();
    ASSERT_EQ(lines.size(), 3);
    EXPECT_EQ(lines[0], QStringLiteral("CommonNOX: DataEntryParser::convertToRawData() failed to convert "
                                       "parsed data, received invalid data type=int"));
}

TEST(Parser, BytesOfAnotherVersionGiveDefaults)
{
    PeriodV1 period;
    period.set(Keys::StartTime, qlonglong(-5));
    period.set(Keys::Peaks, QVariant::fromValue(PeakVector{{1, 2, 3, 4}}));
    const QByteArray bytes = parser("nox_pd_period_v1")->convertToRawData(element(QVariant::fromValue(period)));
    const auto same = parser("nox_pd_period_v1")->parse(bytes)->value<std::shared_ptr<PeriodV1>>();
    EXPECT_EQ(wire(*same), bytes);
    for (const QByteArray &foreign : {bytes, QByteArray(), QByteArray("\xff\xff"), wire(PeriodV2()).chopped(1)}) {
        const auto other = parser("nox_pd_period_v2")->parse(foreign)->value<std::shared_ptr<PeriodV2>>();
        ASSERT_TRUE(other);
        EXPECT_EQ(wire(*other), wire(PeriodV2()));
    }
    EXPECT_FALSE(parser("nox_dac_calibration_analysis_request_v1")) << "its version is written with a capital";
    EXPECT_TRUE(parser("nox_dac_calibration_analysis_request_V1"));
}

TEST(Register, NestedPropertiesFollowTheRulesOfTheirOwner)
{
    auto cable = std::make_shared<CableV1>();
    cable->set(Keys::Topology, 1);
    cable->set(Keys::Length, 1500.0);
    const QString c = QStringLiteral("C");
    const DataEntryConstPtr outer = std::make_shared<Record>(
        QStringLiteral("{none}"), std::initializer_list<Record::Row>{{"C", QVariant::fromValue(cable)}, {"N", 1.5}});
    const QString topology = CableV1::FormatProperty(cable, Keys::Topology);
    EXPECT_NE(topology, QStringLiteral("1")) << "formatted by its class";
    struct Row
    {
        DataEntryConstPtr entry;
        QStringList path;
        QString text = QString();
        bool found = false; // by an empty query
    };
    const QString n = QStringLiteral("N"), unknown = QStringLiteral("X");
    for (const Row &row :
         {Row{outer, {c, Keys::Topology}, topology, true}, Row{cable, {Keys::Topology}, topology, true},
          Row{outer, {n}, QStringLiteral("1.5"), true}, Row{outer, {unknown}}, Row{cable, {unknown}},
          Row{outer, {c, unknown}}, Row{outer, {n, Keys::Topology}}, Row{outer, {}}, Row{nullptr, {n}}}) {
        const std::string what = row.path.join(QLatin1Char('/')).toStdString();
        EXPECT_EQ(factory().formatNestedProperty(row.entry, row.path), row.text) << what;
        EXPECT_EQ(factory().queryNestedProperty(row.entry, row.path, QVariant()), row.found) << what;
        EXPECT_FALSE(factory().queryNestedProperty(row.entry, row.path, QStringLiteral("no such text"))) << what;
    }
    EXPECT_TRUE(factory().queryNestedProperty(outer, {c, Keys::Length}, QStringLiteral("150?")));
}

} // namespace
