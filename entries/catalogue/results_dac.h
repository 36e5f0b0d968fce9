#pragma once

#include "entries/catalogue_entry.h"
#include "entries/entry_registration.h"

#include <QObject>

namespace CommonNOX::Entries::Results::Space2D
{

Q_NAMESPACE_EXPORT(NOX_EXPORT)

/// From which end of a cable a recording was made.
enum class CableEnd {
    Undefined = 0,
    Near = 1,
    Far = 2,
};
Q_ENUM_NS(CableEnd)

/// The recording of one end of a cable that is measured at both ends: Type is a CableEnd, Length the cable length
/// in m, Data the recorded entry.
class NOX_EXPORT DacAnalysisDoubleSideDataSourceV1 : public CatalogueEntry<DacAnalysisDoubleSideDataSourceV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_analysis_double_side_data_source", "v1",
                                            "{768AD062-6CA3-1014-9D25-CA757E47A767}"};
    static const PropertyTable &Properties();
};

/// Asks for the search of reflections in shots. PhaseRanges is a list of [from, to] pairs in degrees, Ratio the
/// smallest ratio of a reflection to its pulse, ReflectionDeadTime is in µs.
class NOX_EXPORT DacAnalysisRequestV1 : public CatalogueEntry<DacAnalysisRequestV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_analysis_request", "v1", "{66897267-75CD-1014-AC49-D0B3DBAC6C7E}"};
    static const PropertyTable &Properties();
};

/// The reflections found in one period of a shot: the period as sample positions, the ranges that were searched as
/// [from, to] pairs in degrees, and the candidates, each a list [pulse, reflection] of DacPeakInformationV1.
class NOX_EXPORT DacAnalysisResponseV1 : public CatalogueEntry<DacAnalysisResponseV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_analysis_response", "v1",
                                            "{C127A524-6D28-1014-9CDB-D50BAED66B7C}"};
    static const PropertyTable &Properties();
};

/// One pulse found in a shot, as sample positions, with its area and height in raw units and its width in samples.
class NOX_EXPORT DacPeakInformationV1 : public CatalogueEntry<DacPeakInformationV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_peak_information", "v1", "{3796A26E-73CA-1014-BA48-FC19E44360EC}"};
    static const PropertyTable &Properties();
};

/// Points to raw data that is stored apart from its shot: the storage and the entry in it.
class NOX_EXPORT DacRawDataReferenceV1 : public CatalogueEntry<DacRawDataReferenceV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_result_dac_raw_data_reference", "v1",
                                            "{02959038-1632-4e84-8820-25ca988406fd}"};
    static const PropertyTable &Properties();
};

/// The raw samples of one shot, charge and test voltage side by side; pC and kV are samples × hardware correction ×
/// calibration of their channel.
class NOX_EXPORT DacRawDataV1 : public CatalogueEntry<DacRawDataV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_raw_data", "v1", "{18D8E67E-6C05-1014-BB4F-C6697F47A826}"};
    static const PropertyTable &Properties();
};

/// The damping of pulses that travel along the cable, found between two sample positions: the attenuation constant
/// alpha in dB/km and the ratio of the reflected to the injected pulse.
class NOX_EXPORT DacTdrDampingCurveInformationV1 : public CatalogueEntry<DacTdrDampingCurveInformationV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_tdr_damping_curve_information", "v1",
                                            "{1BB0B58B-7468-1014-8392-AF3E202F8B07}"};
    static const PropertyTable &Properties();
};

/// Raw samples with their extremes; a position is -1 where there are no samples.
class NOX_EXPORT SampleInformationV1 : public CatalogueEntry<SampleInformationV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_sample_information", "v1",
                                            "{CAF28A73-6BF3-1014-AFCB-DACD7E47A826}"};
    static const PropertyTable &Properties();
};

/// Raw samples with their extremes; a position is -1 where there are no samples.
class NOX_EXPORT SampleInformationV2 : public CatalogueEntry<SampleInformationV2>
{
public:
    static constexpr EntryIdentity Identity{"nox_sample_information", "v2", "{3D167FC7-6C01-1014-8DE7-761F7F47A826}"};
    static const PropertyTable &Properties();
};

} // namespace CommonNOX::Entries::Results::Space2D

NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, DacAnalysisDoubleSideDataSourceV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, DacAnalysisRequestV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, DacAnalysisResponseV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, DacPeakInformationV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, DacRawDataReferenceV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, DacRawDataV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, DacTdrDampingCurveInformationV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, SampleInformationV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Results::Space2D, SampleInformationV2)
