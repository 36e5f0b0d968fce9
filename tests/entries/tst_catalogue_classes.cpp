// What single classes of the catalogue add to what all share: content checks, models, summaries.

#include "entries/catalogue/cable.h"
#include "entries/catalogue/calibration.h"
#include "entries/catalogue/replay_header.h"
#include "entries/catalogue/test.h"
#include "entries/property_keys.h"

#include <QAbstractItemModelTester>

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
