#include "entries/catalogue/results_pd.h"

#include "entries/catalogue/formatters.h"
#include "entries/catalogue/table_p.h"
#include "entries/catalogue/words.h"
#include "entries/measurement/peak.h"
#include "entries/measurement/samples.h"
#include "entries/property_keys.h"

namespace CommonNOX::Entries::Results::Space2D
{

const PropertyTable &DisplayedPeriodV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Flags,       0u,                   false, "Common/flags",    NOX_LABEL("Condition"),     Format::periodFlags},
        {Keys::Signal,      empty<ValueVector>(), false, "Results/charge",  NOX_LABEL("Charge"),        Format::values},
        {Keys::Phase,       empty<ValueVector>(), false, "Results/phase",   NOX_LABEL("Phase"),         Format::values},
        {Keys::V,           empty<ValueVector>(), false, "Results/voltage", NOX_LABEL("Voltage"),       Format::values},
        {Keys::GatedSignal, empty<ValueVector>(), false, "Results/gated",   NOX_LABEL("Gated charge"),  Format::values},
        {Keys::GatedPhase,  empty<ValueVector>(), false, "Results/gated",   NOX_LABEL("Gated phase"),   Format::values},
        {Keys::GatedV,      empty<ValueVector>(), false, "Results/gated",   NOX_LABEL("Gated voltage"), Format::values},
    };
    // clang-format on
    return table;
}

const PropertyTable &DisplayedVoltageScopeV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Frequency,      0.0,                  false, "Results/frequency", NOX_LABEL("Frequency"),            Format::hertz},
        {Keys::MinimumValue,   0.0,                  false, "Results/minimum",   NOX_LABEL("Minimum"),              Format::number},
        {Keys::MaximumValue,   0.0,                  false, "Results/maximum",   NOX_LABEL("Maximum"),              Format::number},
        {Keys::PeakPeakValue,  0.0,                  false, "Results/extreme",   NOX_LABEL("Peak-to-peak value"),   Format::number},
        {Keys::Resolution,     0.0,                  false, "Device/resolution", NOX_LABEL("Time between samples"), Format::milliseconds},
        {Keys::Start,          0.0,                  false, "Common/time",       NOX_LABEL("Start"),                Format::milliseconds},
        {Keys::VoltageSamples, empty<ValueVector>(), false, "Results/voltage",   NOX_LABEL("Voltage"),              Format::values},
    };
    // clang-format on
    return table;
}

const PropertyTable &PdPeakInformationV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Peaks, empty<PeakVector>(), false, "Results/peaks", NOX_LABEL("Pulses"), Format::pulses},
    };
    // clang-format on
    return table;
}

const PropertyTable &PdPeakInformationV2::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Peaks, empty<PeakVector>(), false, "Results/peaks", NOX_LABEL("Pulses"), Format::pulses},
    };
    // clang-format on
    return table;
}

const PropertyTable &PeriodBlockV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Periods, QVariantList(), false, "Recording/block", NOX_LABEL("Periods"), Format::items},
    };
    // clang-format on
    return table;
}

const PropertyTable &PeriodV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::StartTime,            qlonglong(0),        false, "Common/time",             NOX_LABEL("Start"),                           Format::ticks},
        {Keys::EndTime,              qlonglong(0),        false, "Common/time",             NOX_LABEL("End"),                             Format::ticks},
        {Keys::SampleRate,           0u,                  false, "Results/sample_rate",     NOX_LABEL("Sample rate"),                     Format::sampleRate},
        {Keys::PdHardwareCorrection, 1.0,                 false, "Calibration/correction",  NOX_LABEL("PD hardware correction"),          Format::number},
        {Keys::PdCalibration,        0.0,                 false, "Calibration/calibration", NOX_LABEL("PD calibration factor"),           Format::calibrationFactor},
        {Keys::TvHardwareCorrection, 1.0,                 false, "Calibration/correction",  NOX_LABEL("Voltage hardware correction"),     Format::number},
        {Keys::TvCalibration,        0.0,                 false, "Calibration/calibration", NOX_LABEL("Voltage calibration factor"),      Format::calibrationFactor},
        {Keys::Flags,                0u,                  false, "Common/flags",            NOX_LABEL("Condition"),                       Format::periodFlags},
        {Keys::Peaks,                empty<PeakVector>(), false, "Results/peaks",           NOX_LABEL("Pulses"),                          Format::pulses},
        {Keys::MaximumIndex,         -1,                  false, "Common/index",            NOX_LABEL("Position of maximum")},
        {Keys::MaximumValue,         0.0,                 false, "Results/maximum",         NOX_LABEL("Maximum"),                         Format::number},
        {Keys::MinimumIndex,         -1,                  false, "Common/index",            NOX_LABEL("Position of minimum")},
        {Keys::MinimumValue,         0.0,                 false, "Results/minimum",         NOX_LABEL("Minimum"),                         Format::number},
        {Keys::AbsoluteMaximumIndex, -1,                  false, "Common/index",            NOX_LABEL("Position of largest magnitude")},
        {Keys::AbsoluteMaximumValue, 0.0,                 false, "Results/extreme",         NOX_LABEL("Largest magnitude"),               Format::number},
        {Keys::AbsoluteMinimumIndex, -1,                  false, "Common/index",            NOX_LABEL("Position of smallest magnitude")},
        {Keys::AbsoluteMinimumValue, 0.0,                 false, "Results/extreme",         NOX_LABEL("Smallest magnitude"),              Format::number},
        {Keys::Count,                0u,                  false, "Common/count",            NOX_LABEL("Count")},
        {Keys::Average,              0.0,                 false, "Results/average",         NOX_LABEL("Average"),                         Format::number},
    };
    // clang-format on
    return table;
}

const PropertyTable &PeriodV2::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::StartTime,            qlonglong(0),        false, "Common/time",             NOX_LABEL("Start"),                           Format::ticks},
        {Keys::EndTime,              qlonglong(0),        false, "Common/time",             NOX_LABEL("End"),                             Format::ticks},
        {Keys::SampleRate,           0u,                  false, "Results/sample_rate",     NOX_LABEL("Sample rate"),                     Format::sampleRate},
        {Keys::PdHardwareCorrection, 1.0,                 false, "Calibration/correction",  NOX_LABEL("PD hardware correction"),          Format::number},
        {Keys::PdCalibration,        0.0,                 false, "Calibration/calibration", NOX_LABEL("PD calibration factor"),           Format::calibrationFactor},
        {Keys::TvHardwareCorrection, 1.0,                 false, "Calibration/correction",  NOX_LABEL("Voltage hardware correction"),     Format::number},
        {Keys::TvCalibration,        0.0,                 false, "Calibration/calibration", NOX_LABEL("Voltage calibration factor"),      Format::calibrationFactor},
        {Keys::Flags,                0u,                  false, "Common/flags",            NOX_LABEL("Condition"),                       Format::periodFlags},
        {Keys::Peaks,                empty<PeakVector>(), false, "Results/peaks",           NOX_LABEL("Pulses"),                          Format::pulses},
        {Keys::MaximumIndex,         -1,                  false, "Common/index",            NOX_LABEL("Position of maximum")},
        {Keys::MaximumValue,         0.0,                 false, "Results/maximum",         NOX_LABEL("Maximum"),                         Format::number},
        {Keys::MinimumIndex,         -1,                  false, "Common/index",            NOX_LABEL("Position of minimum")},
        {Keys::MinimumValue,         0.0,                 false, "Results/minimum",         NOX_LABEL("Minimum"),                         Format::number},
        {Keys::AbsoluteMaximumIndex, -1,                  false, "Common/index",            NOX_LABEL("Position of largest magnitude")},
        {Keys::AbsoluteMaximumValue, 0.0,                 false, "Results/extreme",         NOX_LABEL("Largest magnitude"),               Format::number},
        {Keys::AbsoluteMinimumIndex, -1,                  false, "Common/index",            NOX_LABEL("Position of smallest magnitude")},
        {Keys::AbsoluteMinimumValue, 0.0,                 false, "Results/extreme",         NOX_LABEL("Smallest magnitude"),              Format::number},
        {Keys::Count,                0u,                  false, "Common/count",            NOX_LABEL("Count")},
    };
    // clang-format on
    return table;
}

const PropertyTable &QtUtDataV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Voltage,    0.0,         false, "Results/voltage",     NOX_LABEL("Voltage"),         Format::kilovolts},
        {Keys::Qiec,       0.0,         false, "Results/charge",      NOX_LABEL("Weighted charge"), Format::picocoulombs},
        {Keys::Timestamp,  QDateTime(), false, "Common/time",         NOX_LABEL("Time"),            Format::dateTime},
        {Keys::SampleRate, 0u,          false, "Results/sample_rate", NOX_LABEL("Sample rate"),     Format::sampleRate},
    };
    // clang-format on
    return table;
}

const PropertyTable &VoltageScopeV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::SampleRate,         0u,                    false, "Results/sample_rate",     NOX_LABEL("Sample rate"),         Format::sampleRate},
        {Keys::Samples,            empty<SampleVector>(), false, "Results/samples",         NOX_LABEL("Samples"),             Format::samples},
        {Keys::HardwareCorrection, 1.0,                   false, "Calibration/correction",  NOX_LABEL("Hardware correction"), Format::number},
        {Keys::Calibration,        0.0,                   false, "Calibration/calibration", NOX_LABEL("Calibration factor"),  Format::calibrationFactor},
    };
    // clang-format on
    return table;
}

} // namespace CommonNOX::Entries::Results::Space2D

namespace CommonNOX::Entries::Results::Space3D
{

const PropertyTable &PatternV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Image,       QByteArray(), false, "Results/pattern",  NOX_LABEL("Pattern"),                 Format::picture},
        {Keys::Overflow,    QByteArray(), false, "Results/overflow", NOX_LABEL("Overflow"),                Format::picture},
        {Keys::MaxScaleY,   0.0,          false, "Results/maximum",  NOX_LABEL("Largest charge on scale"), Format::number},
        {Keys::Bipolar,     false,        false, "Results/bipolar",  NOX_LABEL("Both polarities"),         Format::yesNo},
        {Keys::AxisScaling, 0,            false, "Results/axis",     NOX_LABEL("Charge axis"),             Format::axisScaling},
    };
    // clang-format on
    return table;
}

} // namespace CommonNOX::Entries::Results::Space3D

namespace CommonNOX::Entries
{

static const EntryRegistration<Results::Space2D::DisplayedPeriodV1, Results::Space2D::DisplayedVoltageScopeV1,
                               Results::Space2D::PdPeakInformationV1, Results::Space2D::PdPeakInformationV2,
                               Results::Space2D::PeriodBlockV1, Results::Space2D::PeriodV1, Results::Space2D::PeriodV2,
                               Results::Space2D::QtUtDataV1, Results::Space2D::VoltageScopeV1,
                               Results::Space3D::PatternV1>
    registration;

} // namespace CommonNOX::Entries
