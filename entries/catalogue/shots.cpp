#include "entries/catalogue/shots.h"

#include "entries/catalogue/formatters.h"
#include "entries/catalogue/table_p.h"
#include "entries/catalogue/words.h"
#include "entries/measurement/samples.h"
#include "entries/property_keys.h"

namespace CommonNOX::Entries::Test
{

const PropertyTable &DacResultV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::ShotDataRef,    QString(),            false, "Test/shot",           NOX_LABEL("Shot")},
        {Keys::PeriodData,     QVariantList(),       false, "Recording/block",     NOX_LABEL("Periods"),              Format::items},
        {Keys::VoltageSamples, empty<ValueVector>(), false, "Results/voltage",     NOX_LABEL("Voltage"),              Format::values},
        {Keys::TargetVoltage,  0.0,                  true,  "Test/target_voltage", NOX_LABEL("Target voltage"),       Format::kilovolts},
        {Keys::QMax,           0.0,                  true,  "Results/charge",      NOX_LABEL("Peak charge"),          Format::picocoulombs},
        {Keys::QNoiseLevel,    0.0,                  false, "Test/noise",          NOX_LABEL("Noise level"),          Format::picocoulombs},
        {Keys::RawNoiseLevel,  0.0,                  false, "Test/noise",          NOX_LABEL("Raw noise level"),      Format::number},
        {Keys::Capacitance,    0.0,                  false, "Test/capacitance",    NOX_LABEL("Capacitance"),          Format::nanofarads},
        {Keys::DampingFactor,  0.0,                  false, "Calibration/damping", NOX_LABEL("Damping factor"),       Format::number},
        {Keys::TanDeltaCable,  0.0,                  false, "Test/tan_delta",      NOX_LABEL("Loss factor of cable"), Format::lossFactor},
        {Keys::Frequency,      0.0,                  false, "Results/frequency",   NOX_LABEL("Frequency"),            Format::hertz},
        {Keys::Offset,         0.0,                  false, "Results/average",     NOX_LABEL("Voltage offset"),       Format::kilovolts},
        {Keys::ZeroCrossings,  empty<ValueVector>(), false, "Results/voltage",     NOX_LABEL("Zero crossings"),       Format::values},
    };
    // clang-format on
    return table;
}

const PropertyTable &LeakageCurrentOverTimeV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::TestRef,                       QString(),            false, "Test/test",            NOX_LABEL("Test")},
        {Keys::CoreName,                      QString(),            true,  "Cable/core",           NOX_LABEL("Core")},
        {Keys::LeakageCurrentOverTimeSamples, empty<ValueVector>(), false, "Test/leakage_current", NOX_LABEL("Leakage current over time"), Format::points},
    };
    // clang-format on
    return table;
}

const PropertyTable &ShotV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::CoreName,             QString(),      true,  "Cable/core",              NOX_LABEL("Core")},
        {Keys::TestRef,              QString(),      false, "Test/test",               NOX_LABEL("Test")},
        {Keys::RawData,              QVariant(),     false, "Common/data",             NOX_LABEL("Raw data"),               Format::entry},
        {Keys::Environment,          QVariant(),     false, "Test/environment",        NOX_LABEL("Ambient conditions"),     Format::entry},
        {Keys::TargetVoltage,        0.0,            true,  "Test/target_voltage",     NOX_LABEL("Target voltage"),         Format::kilovolts},
        {Keys::Gain,                 0,              false, "Device/gain",             NOX_LABEL("Gain index")},
        {Keys::MeasurementType,      0,              true,  "Common/type",             NOX_LABEL("Kind of measurement"),    Format::measurementType},
        {Keys::AvailableForAnalysis, false,          true,  "Test/analysis",           NOX_LABEL("Available for analysis"), Format::yesNo},
        {Keys::PdCalibrations,       QVariantList(), false, "Calibration/calibration", NOX_LABEL("PD calibrations"),        Format::items},
        {Keys::Device,               QVariant(),     false, "Device/device",           NOX_LABEL("Device"),                 Format::entry},
    };
    // clang-format on
    return table;
}

const PropertyTable &VlfResultV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::ShotDataRef,    QString(),            false, "Test/shot",           NOX_LABEL("Shot")},
        {Keys::PeriodData,     QVariantList(),       false, "Recording/block",     NOX_LABEL("Periods"),        Format::items},
        {Keys::VoltageSamples, empty<ValueVector>(), false, "Results/voltage",     NOX_LABEL("Voltage"),        Format::values},
        {Keys::TargetVoltage,  0.0,                  true,  "Test/target_voltage", NOX_LABEL("Target voltage"), Format::kilovolts},
        {Keys::QMax,           0.0,                  true,  "Results/charge",      NOX_LABEL("Peak charge"),    Format::picocoulombs},
        {Keys::Frequency,      0.0,                  false, "Results/frequency",   NOX_LABEL("Frequency"),      Format::hertz},
    };
    // clang-format on
    return table;
}

const PropertyTable &VlfVoltageOverTimeV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::TestRef,                QString(),            false, "Test/test",       NOX_LABEL("Test")},
        {Keys::CoreName,               QString(),            true,  "Cable/core",      NOX_LABEL("Core")},
        {Keys::VoltageOverTimeSamples, empty<ValueVector>(), false, "Results/voltage", NOX_LABEL("Voltage over time"), Format::points},
    };
    // clang-format on
    return table;
}

static const EntryRegistration<DacResultV1, LeakageCurrentOverTimeV1, ShotV1, VlfResultV1, VlfVoltageOverTimeV1>
    registration;

} // namespace CommonNOX::Entries::Test
