#include "entries/catalogue/results_dac.h"

#include "entries/catalogue/formatters.h"
#include "entries/catalogue/table_p.h"
#include "entries/catalogue/words.h"
#include "entries/measurement/samples.h"
#include "entries/property_keys.h"

namespace CommonNOX::Entries::Results::Space2D
{

const PropertyTable &DacAnalysisDoubleSideDataSourceV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Type,   0,          false, "Common/type",  NOX_LABEL("Cable end"),    Format::cableEnd},
        {Keys::Length, 0.0,        false, "Cable/length", NOX_LABEL("Cable length"), Format::metres},
        {Keys::Data,   QVariant(), false, "Common/data",  NOX_LABEL("Recording"),    Format::entry},
    };
    // clang-format on
    return table;
}

const PropertyTable &DacAnalysisRequestV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::ShotDataRefs,       QStringList(),  false, "Test/shot",              NOX_LABEL("Shots"),                     Format::items},
        {Keys::PhaseRanges,        QVariantList(), false, "Results/phase",          NOX_LABEL("Phase ranges"),              Format::degreeRanges},
        {Keys::Ratio,              0.0,            false, "Calibration/reflection", NOX_LABEL("Smallest reflection ratio"), Format::number},
        {Keys::ReflectionDeadTime, 0.0,            false, "Common/duration",        NOX_LABEL("Reflection dead time"),      Format::microseconds},
    };
    // clang-format on
    return table;
}

const PropertyTable &DacAnalysisResponseV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Reference,              QString(),      false, "Common/reference",       NOX_LABEL("Request")},
        {Keys::ShotDataRef,            QString(),      false, "Test/shot",              NOX_LABEL("Shot")},
        {Keys::PeriodIndex,            0,              false, "Common/index",           NOX_LABEL("Period")},
        {Keys::PeriodBeginSampleIndex, 0,              false, "Results/samples",        NOX_LABEL("First sample of period")},
        {Keys::PeriodEndSampleIndex,   0,              false, "Results/samples",        NOX_LABEL("End sample of period")},
        {Keys::SearchedPhaseRanges,    QVariantList(), false, "Results/phase",          NOX_LABEL("Searched phase ranges"),   Format::degreeRanges},
        {Keys::ReflectionCandidates,   QVariantList(), false, "Calibration/reflection", NOX_LABEL("Reflection candidates"),   Format::items},
    };
    // clang-format on
    return table;
}

const PropertyTable &DacPeakInformationV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::PeakIndex,  0,   false, "Results/peaks",   NOX_LABEL("Position of peak")},
        {Keys::StartIndex, 0,   false, "Common/index",    NOX_LABEL("First sample")},
        {Keys::EndIndex,   0,   false, "Common/index",    NOX_LABEL("Last sample")},
        {Keys::AreaValue,  0.0, false, "Results/area",    NOX_LABEL("Area"),              Format::number},
        {Keys::PeakValue,  0.0, false, "Results/maximum", NOX_LABEL("Height"),            Format::number},
        {Keys::PeakWidth,  0.0, false, "Results/width",   NOX_LABEL("Width"),             Format::number},
        {Keys::Flags,      0u,  false, "Common/flags",    NOX_LABEL("Flags"),             Format::bits},
    };
    // clang-format on
    return table;
}

const PropertyTable &DacRawDataReferenceV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::RawDataRef,      QString(), false, "Common/data",      NOX_LABEL("Raw data storage")},
        {Keys::RawDataEntryRef, QString(), false, "Common/reference", NOX_LABEL("Raw data entry")},
    };
    // clang-format on
    return table;
}

const PropertyTable &DacRawDataV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::SampleRate,           0u,                    false, "Results/sample_rate",     NOX_LABEL("Sample rate"),                 Format::sampleRate},
        {Keys::PdHardwareCorrection, 1.0,                   false, "Calibration/correction",  NOX_LABEL("PD hardware correction"),      Format::number},
        {Keys::PdCalibration,        0.0,                   false, "Calibration/calibration", NOX_LABEL("PD calibration factor"),       Format::calibrationFactor},
        {Keys::TvHardwareCorrection, 1.0,                   false, "Calibration/correction",  NOX_LABEL("Voltage hardware correction"), Format::number},
        {Keys::TvCalibration,        0.0,                   false, "Calibration/calibration", NOX_LABEL("Voltage calibration factor"),  Format::calibrationFactor},
        {Keys::Comment,              QString(),             true,  "Common/comment",          NOX_LABEL("Comment")},
        {Keys::SamplesPd,            empty<SampleVector>(), false, "Results/samples",         NOX_LABEL("PD samples"),                  Format::samples},
        {Keys::SamplesTv,            empty<SampleVector>(), false, "Results/voltage",         NOX_LABEL("Voltage samples"),             Format::samples},
    };
    // clang-format on
    return table;
}

const PropertyTable &DacTdrDampingCurveInformationV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::DampingFactorAlpha, 0.0, false, "Calibration/damping",    NOX_LABEL("Attenuation constant"), Format::decibelsPerKilometre},
        {Keys::Ratio,              0.0, false, "Calibration/reflection", NOX_LABEL("Reflection ratio"),     Format::number},
        {Keys::StartIndex,         0,   false, "Common/index",           NOX_LABEL("First sample")},
        {Keys::EndIndex,           0,   false, "Common/index",           NOX_LABEL("Last sample")},
    };
    // clang-format on
    return table;
}

const PropertyTable &SampleInformationV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Samples,              empty<SampleVector>(), false, "Results/samples", NOX_LABEL("Samples"),                         Format::samples},
        {Keys::MaximumIndex,         -1,                    false, "Common/index",    NOX_LABEL("Position of maximum")},
        {Keys::MaximumValue,         0.0,                   false, "Results/maximum", NOX_LABEL("Maximum"),                         Format::number},
        {Keys::MinimumIndex,         -1,                    false, "Common/index",    NOX_LABEL("Position of minimum")},
        {Keys::MinimumValue,         0.0,                   false, "Results/minimum", NOX_LABEL("Minimum"),                         Format::number},
        {Keys::AbsoluteMaximumIndex, -1,                    false, "Common/index",    NOX_LABEL("Position of largest magnitude")},
        {Keys::AbsoluteMaximumValue, 0.0,                   false, "Results/extreme", NOX_LABEL("Largest magnitude"),               Format::number},
        {Keys::AbsoluteMinimumIndex, -1,                    false, "Common/index",    NOX_LABEL("Position of smallest magnitude")},
        {Keys::AbsoluteMinimumValue, 0.0,                   false, "Results/extreme", NOX_LABEL("Smallest magnitude"),              Format::number},
        {Keys::Count,                0u,                    false, "Common/count",    NOX_LABEL("Count")},
        {Keys::Average,              0.0,                   false, "Results/average", NOX_LABEL("Average"),                         Format::number},
    };
    // clang-format on
    return table;
}

const PropertyTable &SampleInformationV2::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Samples,              empty<SampleVector>(), false, "Results/samples", NOX_LABEL("Samples"),                         Format::samples},
        {Keys::MaximumIndex,         -1,                    false, "Common/index",    NOX_LABEL("Position of maximum")},
        {Keys::MaximumValue,         0.0,                   false, "Results/maximum", NOX_LABEL("Maximum"),                         Format::number},
        {Keys::MinimumIndex,         -1,                    false, "Common/index",    NOX_LABEL("Position of minimum")},
        {Keys::MinimumValue,         0.0,                   false, "Results/minimum", NOX_LABEL("Minimum"),                         Format::number},
        {Keys::AbsoluteMaximumIndex, -1,                    false, "Common/index",    NOX_LABEL("Position of largest magnitude")},
        {Keys::AbsoluteMaximumValue, 0.0,                   false, "Results/extreme", NOX_LABEL("Largest magnitude"),               Format::number},
        {Keys::AbsoluteMinimumIndex, -1,                    false, "Common/index",    NOX_LABEL("Position of smallest magnitude")},
        {Keys::AbsoluteMinimumValue, 0.0,                   false, "Results/extreme", NOX_LABEL("Smallest magnitude"),              Format::number},
        {Keys::Count,                0u,                    false, "Common/count",    NOX_LABEL("Count")},
        {Keys::Average,              0.0,                   false, "Results/average", NOX_LABEL("Average"),                         Format::number},
    };
    // clang-format on
    return table;
}

static const EntryRegistration<DacAnalysisDoubleSideDataSourceV1, DacAnalysisRequestV1, DacAnalysisResponseV1,
                               DacPeakInformationV1, DacRawDataReferenceV1, DacRawDataV1,
                               DacTdrDampingCurveInformationV1, SampleInformationV1, SampleInformationV2>
    registration;

} // namespace CommonNOX::Entries::Results::Space2D
