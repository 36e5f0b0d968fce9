#pragma once

#include "entries/catalogue_entry.h"
#include "entries/entry_registration.h"

#include <QObject>

namespace CommonNOX::Entries::Calibration
{

Q_NAMESPACE_EXPORT(NOX_EXPORT)

/// Which calibration recording an analysis reads.
enum class CalibrationAnalysisSourceType {
    Undefined = 0,
    PdCalibration = 1,
    TdrCalibration = 2,
};
Q_ENUM_NS(CalibrationAnalysisSourceType)

/// Where the result of a calibration analysis goes.
enum class CalibrationAnalysisDestinationType {
    Undefined = 0,
    Element = 1,   ///< into the stored entry that ElementUuid names
    DataEntry = 2, ///< into the result entry that DataEntryName names
};
Q_ENUM_NS(CalibrationAnalysisDestinationType)

/// How far a channel is calibrated.
enum class CalibrationStatus {
    NotCalibrated = 0,
    Calibrated = 1,
    Failed = 2,
};
Q_ENUM_NS(CalibrationStatus)

/// Asks for the analysis of a calibration recording and says where the result goes: into an existing entry named by
/// ElementUuid, or into a result entry named by DataEntryName.
class NOX_EXPORT DacCalibrationAnalysisRequestV1 : public CatalogueEntry<DacCalibrationAnalysisRequestV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_calibration_analysis_request", "V1",
                                            "{9797D707-6C05-1014-AE7E-7AA07F47A826}"};
    static const PropertyTable &Properties();

    /// True when the source type is defined, and the destination that the destination type chooses is named: a
    /// non-empty ElementUuid or DataEntryName.
    bool isValid() const override;
};

/// A charge calibration of damped-AC measurement: the recorded calibration pulses and the factor found from them.
class NOX_EXPORT DacPdCalibrationV1 : public CatalogueEntry<DacPdCalibrationV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_pd_calibration", "v1", "{981A1445-6BF4-1014-AC87-BED17E47A826}"};
    static const PropertyTable &Properties();
};

/// A time-domain-reflectometry calibration: the recorded pulse with its reflection from the far end.
class NOX_EXPORT DacTdrCalibrationV1 : public CatalogueEntry<DacTdrCalibrationV1>
{
public:
    static constexpr EntryIdentity Identity{"nox_dac_tdr_calibration", "v1", "{D6837891-6BF4-1014-B9D9-CAD37E47A826}"};
    static const PropertyTable &Properties();
};

} // namespace CommonNOX::Entries::Calibration

NOX_DECLARE_ENTRY(CommonNOX::Entries::Calibration, DacCalibrationAnalysisRequestV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Calibration, DacPdCalibrationV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Calibration, DacTdrCalibrationV1)
