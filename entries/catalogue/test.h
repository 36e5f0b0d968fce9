#pragma once

#include "entries/catalogue_entry.h"
#include "entries/entry_registration.h"

#include <QObject>

namespace CommonNOX::Entries::Test
{

Q_NAMESPACE_EXPORT(NOX_EXPORT)

/// Where a test stands.
enum class TestStatus {
    Undefined = 0,
    Planned = 1,
    Running = 2,
    Completed = 3,
    Aborted = 4,
    Failed = 5, ///< could not be carried out
};
Q_ENUM_NS(TestStatus)

/// How the cable stood its test.
enum class TestResult {
    NotRated = 0,
    Passed = 1,
    Failed = 2,
    Inconclusive = 3,
};
Q_ENUM_NS(TestResult)

/// With which voltage a test is made.
enum class MeasureMode {
    Undefined = 0,
    DampedAc = 1,
    VeryLowFrequency = 2,
};
Q_ENUM_NS(MeasureMode)

/// What a shot was made for.
enum class MeasurementType {
    Undefined = 0,
    DampedAc = 1,
    VeryLowFrequency = 2,
    PdCalibration = 3,
    TdrCalibration = 4,
    Noise = 5, ///< without test voltage
};
Q_ENUM_NS(MeasurementType)

/// What a test was configured with, as the uuids of the chosen entries.
class NOX_EXPORT ConfigurationV1 : public CatalogueEntry<ConfigurationV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_test_config", "v1", "{F6D73779-6BF8-1014-BAEB-DDCBC11865E5}"};
    static const PropertyTable &Properties();

    /// True when cable, location and tester are named; customer and procedure are optional.
    bool isValid() const override;
};

/// Values of one quantity over the shots of a test, with their statistics.
class NOX_EXPORT DacStatisticsContainerV1 : public CatalogueEntry<DacStatisticsContainerV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_statistics_container", "v1",
                                            "{44E19FC7-6BF8-1014-92BF-9A157F47A826}"};
    static const PropertyTable &Properties();
};

/// One step of a test procedure as carried out: the core, the target voltage in kV (peak), when, and the charge in
/// pC.
class NOX_EXPORT DacTestProcedureEntryV1 : public CatalogueEntry<DacTestProcedureEntryV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_test_procedure_entry", "v1",
                                            "{74A9A16A-6C01-1014-8E02-32647F47A826}"};
    static const PropertyTable &Properties();
};

/// The outcome of a test: TestResult is a TestResult, TestProcedureLive a list of DacTestProcedureEntryV1,
/// Statistics a list of DacStatisticsContainerV1.
class NOX_EXPORT DacTestSummaryV1 : public CatalogueEntry<DacTestSummaryV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_test_summary", "v1", "{A8489611-6BF6-1014-BB12-02057F47A826}"};
    static const PropertyTable &Properties();
};

/// When a test was made and how it ended; Status is a TestStatus.
class NOX_EXPORT MetaInformationV1 : public CatalogueEntry<MetaInformationV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_test_meta", "v1", "{05C23934-0529-4799-BD43-30E770707DA3}"};
    static const PropertyTable &Properties();
};

/// A complete test: MetaData holds a MetaInformationV1, Configuration a ConfigurationV1, UsedDevices a list of
/// DacDeviceV1; MeasureMode is a MeasureMode.
class NOX_EXPORT TestV1 : public CatalogueEntry<TestV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_test_complete", "v1", "{8F8467BF-6BF9-1014-B994-71C5C11865E5}"};
    static const PropertyTable &Properties();

    /// True when MetaData holds a valid MetaInformationV1 and Configuration a valid ConfigurationV1.
    bool isValid() const override;
};

/// Ties a stored shot to its test.
class NOX_EXPORT TestShotReferenceV1 : public CatalogueEntry<TestShotReferenceV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_test_shot_reference", "v1",
                                            "{1E2C2D26-6BFA-1014-B07F-EE227F47A826}"};
    static const PropertyTable &Properties();
};

} // namespace CommonNOX::Entries::Test

NOX_DECLARE_ENTRY(CommonNOX::Entries::Test, ConfigurationV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Test, DacStatisticsContainerV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Test, DacTestProcedureEntryV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Test, DacTestSummaryV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Test, MetaInformationV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Test, TestV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Test, TestShotReferenceV1)
