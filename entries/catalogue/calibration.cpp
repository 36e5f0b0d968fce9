#include "entries/catalogue/calibration.h"

#include "entries/catalogue/formatters.h"
#include "entries/catalogue/table_p.h"
#include "entries/catalogue/words.h"
#include "entries/measurement/samples.h"
#include "entries/property_keys.h"

namespace CommonNOX::Entries::Calibration
{

const PropertyTable &DacCalibrationAnalysisRequestV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::CalibrationAnalysisSourceType,      0,         false, "Calibration/source",      NOX_LABEL("Calibration to analyse"), Format::calibrationSource},
        {Keys::CalibrationAnalysisDestinationType, 0,         false, "Calibration/destination", NOX_LABEL("Result goes to"),         Format::calibrationDestination},
        {Keys::ElementUuid,                        QString(), false, "Common/reference",        NOX_LABEL("Target entry")},
        {Keys::DataEntryName,                      QString(), false, "Common/name",             NOX_LABEL("Target result name")},
    };
    // clang-format on
    return table;
}

const PropertyTable &DacPdCalibrationV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::CalibrationData,      empty<SampleVector>(), false, "Results/samples",         NOX_LABEL("Calibration recording"),  Format::samples},
        {Keys::SampleRate,           0u,                    false, "Results/sample_rate",     NOX_LABEL("Sample rate"),            Format::sampleRate},
        {Keys::PdHardwareCorrection, 1.0,                   false, "Calibration/correction",  NOX_LABEL("PD hardware correction"), Format::number},
        {Keys::PdCalibration,        0.0,                   false, "Calibration/calibration", NOX_LABEL("PD calibration factor"),  Format::calibrationFactor},
        {Keys::Gain,                 0,                     false, "Device/gain",             NOX_LABEL("Gain index")},
        {Keys::CalibrationStatus,    0,                     true,  "Common/status",           NOX_LABEL("Calibration status"),     Format::calibrationStatus},
        {Keys::SignalInputLevel,     0.0,                   false, "Calibration/input_level", NOX_LABEL("Signal input level"),     Format::percent},
        {Keys::Saturation,           false,                 false, "Calibration/saturation",  NOX_LABEL("Input saturated"),        Format::yesNo},
        {Keys::AbsoluteMaximumValue, 0.0,                   false, "Results/extreme",         NOX_LABEL("Largest magnitude"),      Format::number},
        {Keys::DacPeakData,          QVariant(),            false, "Results/peaks",           NOX_LABEL("Calibration pulse"),      Format::entry},
    };
    // clang-format on
    return table;
}

const PropertyTable &DacTdrCalibrationV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::CalibrationData,       empty<SampleVector>(), false, "Results/samples",        NOX_LABEL("Calibration recording"),  Format::samples},
        {Keys::PdHardwareCorrection,  1.0,                   false, "Calibration/correction", NOX_LABEL("PD hardware correction"), Format::number},
        {Keys::SampleRate,            0u,                    false, "Results/sample_rate",    NOX_LABEL("Sample rate"),            Format::sampleRate},
        {Keys::Gain,                  0,                     false, "Device/gain",            NOX_LABEL("Gain index")},
        {Keys::Saturation,            false,                 false, "Calibration/saturation", NOX_LABEL("Input saturated"),        Format::yesNo},
        {Keys::DampingCurve,          QVariant(),            false, "Calibration/damping",    NOX_LABEL("Damping curve"),          Format::entry},
        {Keys::DacPeakDataSignal,     QVariant(),            false, "Results/peaks",          NOX_LABEL("Injected pulse"),         Format::entry},
        {Keys::DacPeakDataReflection, QVariant(),            false, "Calibration/reflection", NOX_LABEL("Reflected pulse"),        Format::entry},
        {Keys::Flags,                 0u,                    false, "Common/flags",           NOX_LABEL("Flags"),                  Format::bits},
    };
    // clang-format on
    return table;
}

bool DacCalibrationAnalysisRequestV1::isValid() const
{
    switch (static_cast<CalibrationAnalysisSourceType>(get(Keys::CalibrationAnalysisSourceType).toInt())) {
    case CalibrationAnalysisSourceType::PdCalibration:
    case CalibrationAnalysisSourceType::TdrCalibration:
        break;
    default:
        return false;
    }
    switch (static_cast<CalibrationAnalysisDestinationType>(get(Keys::CalibrationAnalysisDestinationType).toInt())) {
    case CalibrationAnalysisDestinationType::Element:
        return !get(Keys::ElementUuid).toString().isEmpty();
    case CalibrationAnalysisDestinationType::DataEntry:
        return !get(Keys::DataEntryName).toString().isEmpty();
    default:
        return false;
    }
}

static const EntryRegistration<DacCalibrationAnalysisRequestV1, DacPdCalibrationV1, DacTdrCalibrationV1> registration;

} // namespace CommonNOX::Entries::Calibration
