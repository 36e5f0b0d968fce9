#include "entries/catalogue/recording.h"

#include "entries/catalogue/formatters.h"
#include "entries/catalogue/table_p.h"
#include "entries/catalogue/words.h"
#include "entries/property_keys.h"

namespace CommonNOX::Entries::Recording
{

const PropertyTable &PdGlobalNavigationElementV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Type,           0,         false, "Common/type",       NOX_LABEL("Kind"),            Format::navigationType},
        {Keys::Classification, QString(), false, "Recording/channel", NOX_LABEL("Classification")},
        {Keys::Name,           QString(), true,  "Common/name",       NOX_LABEL("Name")},
        {Keys::EntryUuid,      QString(), false, "Common/reference",  NOX_LABEL("Entry")},
        {Keys::ElementUuid,    QString(), false, "Common/reference",  NOX_LABEL("Element")},
    };
    // clang-format on
    return table;
}

const PropertyTable &PdReplayActionV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Path,     QString(),  true,  "Common/path",      NOX_LABEL("Parameter")},
        {Keys::NewValue, QVariant(), false, "Recording/action", NOX_LABEL("New value")},
        {Keys::OldValue, QVariant(), false, "Recording/action", NOX_LABEL("Old value")},
    };
    // clang-format on
    return table;
}

const PropertyTable &PdReplayAnnotationV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Name,  QString(),  true, "Recording/annotation", NOX_LABEL("Name")},
        {Keys::Value, QVariant(), true, "Common/value",         NOX_LABEL("Value")},
    };
    // clang-format on
    return table;
}

const PropertyTable &PdReplayQtUtOverviewV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Voltage,    0.0,          false, "Results/voltage",     NOX_LABEL("Voltage"),         Format::kilovolts},
        {Keys::Qiec,       0.0,          false, "Results/charge",      NOX_LABEL("Weighted charge"), Format::picocoulombs},
        {Keys::Timestamp,  qlonglong(0), false, "Common/time",         NOX_LABEL("Time"),            Format::epochTime},
        {Keys::SampleRate, 0u,           false, "Results/sample_rate", NOX_LABEL("Sample rate"),     Format::sampleRate},
    };
    // clang-format on
    return table;
}

const PropertyTable &PdTimeNavigationElementV1::Properties()
{
    // clang-format off
    static const PropertyTable table{
        {Keys::Index,           qlonglong(0), false, "Common/index",         NOX_LABEL("Number")},
        {Keys::StartingSecond,  qlonglong(0), false, "Common/time",          NOX_LABEL("Second of recording"),  Format::seconds},
        {Keys::GlobalIndex,     qlonglong(0), false, "Recording/navigation", NOX_LABEL("Period of recording")},
        {Keys::PeriodBlockUuid, QString(),    false, "Recording/block",      NOX_LABEL("Period block")},
        {Keys::PeriodOffset,    0,            false, "Cable/offset",         NOX_LABEL("Period in block")},
        {Keys::Qiec,            0.0,          false, "Results/charge",       NOX_LABEL("Weighted charge"),      Format::picocoulombs},
    };
    // clang-format on
    return table;
}

static const EntryRegistration<PdGlobalNavigationElementV1, PdReplayActionV1, PdReplayAnnotationV1,
                               PdReplayQtUtOverviewV1, PdTimeNavigationElementV1>
    registration;

} // namespace CommonNOX::Entries::Recording
