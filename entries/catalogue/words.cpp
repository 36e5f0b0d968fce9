#include "entries/catalogue/words.h"

#include "entries/cable_topology.h"
#include "entries/catalogue/administration.h"
#include "entries/catalogue/calibration.h"
#include "entries/catalogue/formatters.h"
#include "entries/catalogue/recording.h"
#include "entries/catalogue/results_dac.h"
#include "entries/catalogue/table_p.h"
#include "entries/catalogue/test.h"

namespace CommonNOX::Entries::Format
{

template <class Enumeration>
static constexpr Word is(Enumeration value, const char *text)
{
    return {static_cast<int>(value), text};
}

QString axisScaling(const QVariant &value)
{
    static constexpr Word words[] = {is(1, NOX_LABEL("linear")), is(2, NOX_LABEL("logarithmic"))};
    return word(value, words);
}

QString cableEnd(const QVariant &value)
{
    using enum Results::Space2D::CableEnd;
    static constexpr Word words[] = {
        is(Undefined, NOX_LABEL("undefined")),
        is(Near, NOX_LABEL("near end")),
        is(Far, NOX_LABEL("far end")),
    };
    return word(value, words);
}

QString cableTopology(const QVariant &value)
{
    using enum Cable::DacCableTopology;
    static constexpr Word words[] = {
        is(Undefined, NOX_LABEL("undefined")),
        is(SingleCore, NOX_LABEL("single-core")),
        is(ThreeSingleCores, NOX_LABEL("three single cores")),
        is(ThreeCoreBelted, NOX_LABEL("three-core, common screen")),
        is(ThreeCoreScreened, NOX_LABEL("three-core, individually screened")),
    };
    return word(value, words);
}

QString calibrationDestination(const QVariant &value)
{
    using enum Calibration::CalibrationAnalysisDestinationType;
    static constexpr Word words[] = {
        is(Undefined, NOX_LABEL("undefined")),
        is(Element, NOX_LABEL("stored entry")),
        is(DataEntry, NOX_LABEL("result entry")),
    };
    return word(value, words);
}

QString calibrationSource(const QVariant &value)
{
    using enum Calibration::CalibrationAnalysisSourceType;
    static constexpr Word words[] = {
        is(Undefined, NOX_LABEL("undefined")),
        is(PdCalibration, NOX_LABEL("PD calibration")),
        is(TdrCalibration, NOX_LABEL("reflectometry calibration")),
    };
    return word(value, words);
}

QString calibrationStatus(const QVariant &value)
{
    using enum Calibration::CalibrationStatus;
    static constexpr Word words[] = {
        is(NotCalibrated, NOX_LABEL("not calibrated")),
        is(Calibrated, NOX_LABEL("calibrated")),
        is(Failed, NOX_LABEL("failed")),
    };
    return word(value, words);
}

QString channelCalibrationStatus(const QVariant &value)
{
    QVariantList texts;
    for (const QVariant &each : value.toList())
        texts += calibrationStatus(each);
    return channels(texts);
}

QString measureMode(const QVariant &value)
{
    using enum Test::MeasureMode;
    static constexpr Word words[] = {
        is(Undefined, NOX_LABEL("undefined")),
        is(DampedAc, NOX_LABEL("damped AC")),
        is(VeryLowFrequency, NOX_LABEL("very low frequency")),
    };
    return word(value, words);
}

QString measurementType(const QVariant &value)
{
    using enum Test::MeasurementType;
    static constexpr Word words[] = {
        is(Undefined, NOX_LABEL("undefined")),
        is(DampedAc, NOX_LABEL("damped AC")),
        is(VeryLowFrequency, NOX_LABEL("very low frequency")),
        is(PdCalibration, NOX_LABEL("PD calibration")),
        is(TdrCalibration, NOX_LABEL("reflectometry calibration")),
        is(Noise, NOX_LABEL("noise")),
    };
    return word(value, words);
}

QString navigationType(const QVariant &value)
{
    using enum Recording::PdGlobalNavigationType;
    static constexpr Word words[] = {
        is(Undefined, NOX_LABEL("undefined")),
        is(RecordingStart, NOX_LABEL("start of recording")),
        is(Header, NOX_LABEL("header")),
        is(PeriodBlock, NOX_LABEL("period block")),
        is(VoltageScope, NOX_LABEL("voltage scope")),
        is(TimeNavigation, NOX_LABEL("time navigation")),
        is(Action, NOX_LABEL("configuration change")),
        is(Annotation, NOX_LABEL("annotation")),
        is(QtUtOverview, NOX_LABEL("charge and voltage overview")),
        is(PatternSnapshot, NOX_LABEL("pattern snapshot")),
        is(Decision, NOX_LABEL("decision")),
    };
    return word(value, words);
}

QString procedureType(const QVariant &value)
{
    using enum Procedure::ProcedureType;
    static constexpr Word words[] = {
        is(Undefined, NOX_LABEL("undefined")),     is(Commissioning, NOX_LABEL("commissioning")),
        is(Maintenance, NOX_LABEL("maintenance")), is(AfterRepair, NOX_LABEL("after repair")),
        is(Diagnosis, NOX_LABEL("diagnosis")),
    };
    return word(value, words);
}

QString testResult(const QVariant &value)
{
    using enum Test::TestResult;
    static constexpr Word words[] = {
        is(NotRated, NOX_LABEL("not rated")),
        is(Passed, NOX_LABEL("passed")),
        is(Failed, NOX_LABEL("failed")),
        is(Inconclusive, NOX_LABEL("inconclusive")),
    };
    return word(value, words);
}

QString testStatus(const QVariant &value)
{
    using enum Test::TestStatus;
    static constexpr Word words[] = {
        is(Undefined, NOX_LABEL("undefined")), is(Planned, NOX_LABEL("planned")), is(Running, NOX_LABEL("running")),
        is(Completed, NOX_LABEL("completed")), is(Aborted, NOX_LABEL("aborted")), is(Failed, NOX_LABEL("failed")),
    };
    return word(value, words);
}

} // namespace CommonNOX::Entries::Format
