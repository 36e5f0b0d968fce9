#pragma once

#include "entries/catalogue/test.h"
#include "entries/catalogue_entry.h"
#include "entries/entry_registration.h"

namespace CommonNOX::Entries::Test
{

/// The evaluated damped-AC shot: voltages in kV, charges in pC, the noise of the raw signal in raw units, the
/// capacitance in nF, the frequency in Hz; ZeroCrossings are sample positions, PeriodData a list of entries, one a
/// period.
class NOX_EXPORT DacResultV1 : public CatalogueEntry<DacResultV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_shot_dac_result", "v1", "{D738A36D-76C2-4C43-9B2E-6000A902DF08}"};
    static const PropertyTable &Properties();
};

/// The leakage current of one core while the voltage is applied: a ValueVector of alternating time in s and current
/// in µA.
class NOX_EXPORT LeakageCurrentOverTimeV1 : public CatalogueEntry<LeakageCurrentOverTimeV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_leakage_current_over_time", "v1",
                                            "{B60278A9-6DC9-1014-90E4-B8D6219F191C}"};
    static const PropertyTable &Properties();
};

/// One shot as measured. RawData holds a DacRawDataV1 or a DacRawDataReferenceV1, Environment a
/// DacEnvironmentConditionV1, PdCalibrations a list of DacPdCalibrationV1, Device a DacDeviceV1; MeasurementType is
/// a MeasurementType.
class NOX_EXPORT ShotV1 : public CatalogueEntry<ShotV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_shot", "v1", "{4193A729-6BFC-1014-82D3-5B618592054E}"};
    static const PropertyTable &Properties();
};

/// The evaluated very-low-frequency measurement: voltages in kV, charge in pC, frequency in Hz.
class NOX_EXPORT VlfResultV1 : public CatalogueEntry<VlfResultV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_shot_vlf_result", "v1", "{C3AEFCC5-9ED5-4688-BDF1-0DFAD2E08004}"};
    static const PropertyTable &Properties();
};

/// The very-low-frequency test voltage on one core: a ValueVector of alternating time in s and voltage in kV.
class NOX_EXPORT VlfVoltageOverTimeV1 : public CatalogueEntry<VlfVoltageOverTimeV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_vlf_voltage_over_time", "v1",
                                            "{95CA20FF-6C05-1014-9672-76847F47A826}"};
    static const PropertyTable &Properties();
};

} // namespace CommonNOX::Entries::Test

NOX_DECLARE_ENTRY(CommonNOX::Entries::Test, DacResultV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Test, LeakageCurrentOverTimeV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Test, ShotV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Test, VlfResultV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Test, VlfVoltageOverTimeV1)
