#pragma once

#include "entries/catalogue_entry.h"
#include "entries/entry_registration.h"

namespace CommonNOX::Entries::Results
{

/// How far a running analysis has come: Progress in percent, ResponseUuids name the results so far.
class NOX_EXPORT DacResultProgressV1 : public CatalogueEntry<DacResultProgressV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_result_progress", "v1", "{A2141312-6BFD-1014-844F-766D7F47A826}"};
    static const PropertyTable &Properties();
};

} // namespace CommonNOX::Entries::Results

namespace CommonNOX::Entries::Results::Space1D
{

/// Ambient conditions of a test: °C, hPa and percent relative humidity.
class NOX_EXPORT DacEnvironmentConditionV1 : public CatalogueEntry<DacEnvironmentConditionV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_environmentcondition", "v1",
                                            "{A6A8DF4F-6BFC-1014-A2B8-87648592054E}"};
    static const PropertyTable &Properties();
};

/// A measured frequency; Source names what it was measured on.
class NOX_EXPORT FrequencyV1 : public CatalogueEntry<FrequencyV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_result_frequency", "v1", "{302D003C-6BF9-1014-A420-46E07E47A826}"};
    static const PropertyTable &Properties();

    /// Shows the value with the record's own unit.
    static QString FormatProperty(const DataEntryConstPtr &entry, const QString &name);
};

/// The largest charges since the last reset. All three are magnitudes: of the positive pulses, of the negative
/// pulses, and the larger of the two.
class NOX_EXPORT QmaxInformationV1 : public CatalogueEntry<QmaxInformationV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_result_signalmaxvalues", "v1",
                                            "{5A54A9EB-1D05-4A30-AB1F-D925F82B6CB1}"};
    static const PropertyTable &Properties();

    /// Shows the three charges with the record's own unit.
    static QString FormatProperty(const DataEntryConstPtr &entry, const QString &name);
};

/// One reading, for example the weighted apparent charge of a period, with its unit ("pC", "mV" or "p.u.").
class NOX_EXPORT SignalValueV1 : public CatalogueEntry<SignalValueV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_result_signalvalue", "v1", "{4D26056C-6BF9-1014-8B56-CEDE7E47A826}"};
    static const PropertyTable &Properties();

    /// Shows the value with the record's own unit.
    static QString FormatProperty(const DataEntryConstPtr &entry, const QString &name);
};

/// A measured test voltage.
class NOX_EXPORT VoltageV1 : public CatalogueEntry<VoltageV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_result_voltage", "v1", "{54F8ECCF-6BF9-1014-9A3E-DAE47E47A826}"};
    static const PropertyTable &Properties();

    /// Shows both voltages with the record's own unit.
    static QString FormatProperty(const DataEntryConstPtr &entry, const QString &name);
};

} // namespace CommonNOX::Entries::Results::Space1D

NOX_DECLARE_ENTRY(CommonNOX::Entries::Results, DacResultProgressV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space1D, DacEnvironmentConditionV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space1D, FrequencyV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space1D, QmaxInformationV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space1D, SignalValueV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space1D, VoltageV1)
