// What single classes of the catalogue add to what all share: content checks, models, summaries.

#include "entries/catalogue/cable.h"
#include "entries/catalogue/calibration.h"
#include "entries/catalogue/replay_header.h"
#include "entries/catalogue/test.h"
#include "entries/property_keys.h"

#include <QAbstractItemModel>
#include <QAbstractItemModelTester>
#include <QDateTime>
#include <QLocale>

#include <gtest/gtest.h>

#include <memory>

using namespace CommonNOX;
using namespace CommonNOX::Entries;
// Inside a test, `Test` is the class of the test framework.
namespace TestRecords = CommonNOX::Entries::Test;

TEST(CalibrationAnalysisRequest, IsValidWhenItsDestinationIsNamed)
{
    struct Row
    {
        int source, destination;
        const char *uuid, *name;
        bool valid;
    };
    for (const Row &row : {Row{1, 1, "u", "", true}, Row{2, 2, "", "n", true}, Row{1, 1, "", "n", false},
                           Row{1, 2, "u", "", false}, Row{0, 1, "u", "n", false}, Row{1, 3, "u", "n", false}}) {
        Calibration::DacCalibrationAnalysisRequestV1 request;
        request.set(Keys::CalibrationAnalysisSourceType, row.source);
        request.set(Keys::CalibrationAnalysisDestinationType, row.destination);
        request.set(Keys::ElementUuid, QString::fromLatin1(row.uuid));
        request.set(Keys::DataEntryName, QString::fromLatin1(row.name));
        EXPECT_EQ(request.isValid(), row.valid) << row.source << row.destination << row.uuid << row.name;
    }
}

static std::shared_ptr<TestRecords::ConfigurationV1> configuration()
{
    auto entry = std::make_shared<TestRecords::ConfigurationV1>();
    for (const PropertyKey &name : {Keys::CableRef, Keys::LocationRef, Keys::TesterRef})
        entry->set(name, QStringLiteral("{uuid}"));
    return entry;
}

TEST(Configuration, NeedsCableLocationAndTester)
{
    EXPECT_TRUE(configuration()->isValid());
    for (const PropertyKey &name : {Keys::CableRef, Keys::LocationRef, Keys::TesterRef}) {
        const auto entry = configuration();
        entry->set(name, QString());
        EXPECT_FALSE(entry->isValid()) << name.toString().toStdString();
    }
}

TEST(TestRecord, NeedsValidInformationAndConfiguration)
{
    const auto meta = std::make_shared<TestRecords::MetaInformationV1>();
    const QVariant information = QVariant::fromValue(meta), complete = QVariant::fromValue(configuration());
    const QVariant incomplete = QVariant::fromValue(std::make_shared<TestRecords::ConfigurationV1>());
    struct Row
    {
        QVariant metaData, configuration;
        bool valid;
    };
    for (const Row &row :
         {Row{information, complete, true},
          Row{QVariant::fromValue(DataEntryConstPtr(meta)), QVariant::fromValue(DataEntryConstPtr(configuration())),
              true},
          Row{information, incomplete, false}, Row{information, QVariant(), false}, Row{complete, information, false},
          Row{QVariant::fromValue(DataEntryConstPtr()), complete, false}}) {
        TestRecords::TestV1 test;
        test.set(Keys::MetaData, row.metaData);
        test.set(Keys::Configuration, row.configuration);
        EXPECT_EQ(test.isValid(), row.valid) << row.metaData.typeName() << " " << row.configuration.typeName();
    }
}

static Cable::CableV1 cableOfTwoCores()
{
    const auto joint = [](int number, double offset) {
        auto entry = std::make_shared<Cable::CableJointV1>();
        entry->set(Keys::Index, number);
        entry->set(Keys::Offset, offset);
        entry->set(Keys::Material, QStringLiteral("slip-on"));
        return QVariant::fromValue(std::shared_ptr<const Cable::CableJointV1>(entry));
    };
    const auto core = [](const QString &name, const QVariantList &joints) {
        auto entry = std::make_shared<Cable::CableCoreV1>();
        entry->set(Keys::Name, name);
        entry->set(Keys::Joints, joints);
        return QVariant::fromValue(entry);
    };
    Cable::CableV1 cable;
    cable.set(Keys::Cores, QVariantList{core(QStringLiteral("L1"), {joint(1, 250.0), joint(2, 500.5), 7}),
                                        QStringLiteral("no core"), core(QStringLiteral("L2"), {})});
    return cable;
}

TEST(Cable, ItsModelShowsCoresAndTheirJoints)
{
    QLocale::setDefault(QLocale::c());
    const std::unique_ptr<QAbstractItemModel> model(cableOfTwoCores().getCableModel());
    const QAbstractItemModelTester tester(model.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    const QModelIndex first = model->index(0, 0);
    const QModelIndex second = model->index(1, 0);
    ASSERT_EQ(model->rowCount(), 2) << "what is no core has no row";
    EXPECT_EQ(first.data().toString(), QStringLiteral("L1"));
    ASSERT_EQ(model->rowCount(first), 2);
    EXPECT_EQ(model->rowCount(second), 0);
    EXPECT_EQ(model->index(1, 0, first).data().toString(), QStringLiteral("Joint 2"));
    EXPECT_EQ(model->index(1, 1, first).data().toString(), QStringLiteral("500.5 m"));
    EXPECT_EQ(model->index(1, 3, first).data().toString(), QStringLiteral("slip-on"));
    EXPECT_EQ(model->index(1, 1, first).parent(), first);
}

TEST(ReplayHeader, SummaryLeavesOutWhatIsNotKnown)
{
    Recording::PdReplayHeaderV2 header;
    EXPECT_EQ(header.getSummary(), QString());
    header.set(Keys::DateTime, QDateTime({2024, 3, 9}, {14, 5, 6}));
    header.set(Keys::Device_SoftwareVersion, QStringLiteral("2.1"));
    header.set(Keys::PD_ChannelName, QStringList{QStringLiteral("IN 1")});
    header.set(Keys::PD_MinMaxGainIndex, QVariantList{QVariantList{0, 7}, QVariantList{0, 5}});
    header.set(Keys::PD_CalibrationStatus, QVariantList{1, 0});
    header.set(Keys::TV_AttenuatorIndex, QVariantList{1, 2, 3});
    EXPECT_EQ(header.getNumberOfChannels(), 2);
    EXPECT_EQ(header.getSummary().toStdString(), "Recording date: 2024-03-09 14:05:06\n"
                                                 "SW Version: 2.1\n"
                                                 "PD Channel 1\n"
                                                 "  PD gain index range: 0–7\n"
                                                 "  PD channel name: IN 1\n"
                                                 "  PD calibration status: calibrated\n"
                                                 "PD Channel 2\n"
                                                 "  PD gain index range: 0–5\n"
                                                 "  PD calibration status: not calibrated");
}

template <class Header>
static void expectInstrument(int options)
{
    auto header = std::make_unique<Header>();
    header->set(Keys::Device_SerialNumber, QStringLiteral("00042"));
    header->set(Keys::Device_ProductName, QStringLiteral("Bench"));
    header->set(Keys::Device_AvailableHighSpeedAdcChannels, 3);
    header->set(Keys::Device_HardwareOptions, QStringList{QStringLiteral("a")});
    for (const PropertyKey &gains : {Keys::GainLevels, Keys::PD_GainLevels})
        header->set(gains, QVariantList{1, 2, 3, 4});
    const auto hardware = header->getGenericHardwareInformation();
    header.reset();
    EXPECT_EQ(hardware->getSerialNumber(), QStringLiteral("00042"));
    EXPECT_EQ(hardware->getProductName(), QStringLiteral("Bench"));
    EXPECT_EQ(hardware->getNumberOfChannels(), 4);
    EXPECT_EQ(hardware->getNumberOfHighSpeedAdcChannels(), 3);
    EXPECT_EQ(hardware->getHardwareOptions().size(), options);
}

TEST(ReplayHeader, DescribesTheRecordedInstrumentAlsoWhenItHasGone)
{
    expectInstrument<Recording::PdReplayHeaderV1>(0);
    expectInstrument<Recording::PdReplayHeaderV2>(1);
}
