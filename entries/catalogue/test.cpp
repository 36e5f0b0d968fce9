#include "entries/catalogue/test.h"

#include "entries/catalogue/formatters.h"
#include "entries/catalogue/table_p.h"
#include "entries/catalogue/words.h"
#include "entries/measurement/samples.h"
#include "entries/property_keys.h"

namespace CommonNOX::Entries::Test
{

const PropertyTable &ConfigurationV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::CableRef,     QString(), true, "Cable/core",               NOX_LABEL("Cable")},
        {Keys::LocationRef,  QString(), true, "Administration/location",  NOX_LABEL("Location")},
        {Keys::CustomerRef,  QString(), true, "Administration/company",   NOX_LABEL("Customer")},
        {Keys::TesterRef,    QString(), true, "Administration/person",    NOX_LABEL("Tester")},
        {Keys::ProcedureRef, QString(), true, "Administration/procedure", NOX_LABEL("Procedure")},
    };
    // clang-format on
    return table;
}

const PropertyTable &DacStatisticsContainerV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Average,      0.0,                  false, "Results/average", NOX_LABEL("Average"), Format::number},
        {Keys::MinimumValue, 0.0,                  false, "Results/minimum", NOX_LABEL("Minimum"), Format::number},
        {Keys::MaximumValue, 0.0,                  false, "Results/maximum", NOX_LABEL("Maximum"), Format::number},
        {Keys::Samples,      empty<ValueVector>(), false, "Test/statistics", NOX_LABEL("Values"),  Format::values},
    };
    // clang-format on
    return table;
}

const PropertyTable &DacTestProcedureEntryV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::CoreName,      QString(),   true,  "Cable/core",          NOX_LABEL("Core")},
        {Keys::TargetVoltage, 0.0,         false, "Test/target_voltage", NOX_LABEL("Target voltage"), Format::kilovolts},
        {Keys::Timestamp,     QDateTime(), false, "Common/time",         NOX_LABEL("Time"),           Format::dateTime},
        {Keys::QMax,          0.0,         false, "Results/charge",      NOX_LABEL("Peak charge"),    Format::picocoulombs},
    };
    // clang-format on
    return table;
}

const PropertyTable &DacTestSummaryV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::TestRef,           QString(),      false, "Test/test",                NOX_LABEL("Test")},
        {Keys::TestResult,        0,              true,  "Common/status",            NOX_LABEL("Result"),            Format::testResult},
        {Keys::U0,                0.0,            true,  "Cable/rated_voltage",      NOX_LABEL("Rated voltage U0"),  Format::kilovolts},
        {Keys::Topology,          0,              true,  "Cable/topology",           NOX_LABEL("Cable design"),      Format::cableTopology},
        {Keys::TestProcedureLive, QVariantList(), false, "Administration/procedure", NOX_LABEL("Steps carried out"), Format::items},
        {Keys::Statistics,        QVariantList(), false, "Test/statistics",          NOX_LABEL("Statistics"),        Format::items},
    };
    // clang-format on
    return table;
}

const PropertyTable &MetaInformationV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Create,   QDateTime(), true,  "Common/date",    NOX_LABEL("Created"),      Format::dateTime},
        {Keys::Start,    QDateTime(), true,  "Common/date",    NOX_LABEL("Started"),      Format::dateTime},
        {Keys::End,      QDateTime(), true,  "Common/date",    NOX_LABEL("Ended"),        Format::dateTime},
        {Keys::Status,   0,           true,  "Common/status",  NOX_LABEL("Status"),       Format::testStatus},
        {Keys::Comment,  QString(),   true,  "Common/comment", NOX_LABEL("Comment")},
        {Keys::InfoText, QString(),   true,  "Common/details", NOX_LABEL("Information")},
        {Keys::Flags,    0u,          false, "Common/flags",   NOX_LABEL("Flags"),        Format::bits},
    };
    // clang-format on
    return table;
}

const PropertyTable &TestV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::MetaData,      QVariant(),     false, "Common/details", NOX_LABEL("Test information"), Format::entry},
        {Keys::Configuration, QVariant(),     false, "Common/list",    NOX_LABEL("Configuration"),    Format::entry},
        {Keys::UsedDevices,   QVariantList(), false, "Device/device",  NOX_LABEL("Devices"),          Format::items},
        {Keys::MeasureMode,   0,              true,  "Common/type",    NOX_LABEL("Measuring mode"),   Format::measureMode},
    };
    // clang-format on
    return table;
}

const PropertyTable &TestShotReferenceV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::TestRef,     QString(), false, "Test/test", NOX_LABEL("Test")},
        {Keys::ShotDataRef, QString(), false, "Test/shot", NOX_LABEL("Shot")},
    };
    // clang-format on
    return table;
}

bool ConfigurationV1::isValid() const
{
    return !get(Keys::CableRef).toString().isEmpty() && !get(Keys::LocationRef).toString().isEmpty() &&
           !get(Keys::TesterRef).toString().isEmpty();
}

bool TestV1::isValid() const
{
    const auto metaData = DataEntryFromVariant(get(Keys::MetaData));
    const auto configuration = DataEntryFromVariant(get(Keys::Configuration));
    return metaData && metaData->getGuid() == MetaInformationV1::Guid() && metaData->isValid() && configuration &&
           configuration->getGuid() == ConfigurationV1::Guid() && configuration->isValid();
}

static const EntryRegistration<ConfigurationV1, DacStatisticsContainerV1, DacTestProcedureEntryV1, DacTestSummaryV1,
                               MetaInformationV1, TestV1, TestShotReferenceV1>
    registration;

} // namespace CommonNOX::Entries::Test
