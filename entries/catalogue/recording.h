#pragma once

#include "entries/catalogue_entry.h"
#include "entries/entry_registration.h"

#include <QObject>

namespace CommonNOX::Entries::Recording
{

Q_NAMESPACE_EXPORT(NOX_EXPORT)

/// What an entry of the file-wide navigation list points to. Stored as an integer, so values never change meaning.
enum class PdGlobalNavigationType {
    Undefined = 0,
    RecordingStart = 1, ///< Name holds the time in ms since 1970-01-01 UTC
    Header = 2,
    PeriodBlock = 3,
    VoltageScope = 4,
    TimeNavigation = 5,
    Action = 6,
    Annotation = 7,
    QtUtOverview = 8,
    PatternSnapshot = 9,
    Decision = 10, ///< of inception or extinction; names an annotation, and the period in which it was made
};
Q_ENUM_NS(PdGlobalNavigationType)

/// One entry of the file-wide navigation list, which ties a stored entry (EntryUuid) and the element of it
/// (ElementUuid) to its place; Type is a PdGlobalNavigationType.
class NOX_EXPORT PdGlobalNavigationElementV1 : public CatalogueEntry<PdGlobalNavigationElementV1>
{
public:
    static constexpr EntryIdentity Identity{"pd_global_navigation_element", "v1",
                                            "{793296C2-617E-11E7-9B46-058B48BFCB33}"};
    static const PropertyTable &Properties();
};

/// One recorded configuration change; Path is the parameter's path in the device context, the values are of the
/// parameter's own kind.
class NOX_EXPORT PdReplayActionV1 : public CatalogueEntry<PdReplayActionV1>
{
public:
    static constexpr EntryIdentity Identity{"pd_replay_action", "v1", "{B9DA347E-6317-11E7-9428-E0037F6CF75A}"};
    static const PropertyTable &Properties();
};

/// A named mark that was set while recording.
class NOX_EXPORT PdReplayAnnotationV1 : public CatalogueEntry<PdReplayAnnotationV1>
{
public:
    static constexpr EntryIdentity Identity{"pd_replay_annotation", "v1", "{EFD9BABC-6642-11E7-98DA-EDC58D5A2A9B}"};
    static const PropertyTable &Properties();
};

/// One point of the charge-over-voltage overview: kV, pC, and the time in ms since 1970-01-01 UTC.
class NOX_EXPORT PdReplayQtUtOverviewV1 : public CatalogueEntry<PdReplayQtUtOverviewV1>
{
public:
    static constexpr EntryIdentity Identity{"pd_replay_qtut_overview", "v1", "{B1644E88-6565-11E7-B517-2F7C8D5A2A9B}"};
    static const PropertyTable &Properties();
};

/// One step of a channel's time line: the period at PeriodOffset of the block PeriodBlockUuid, which starts at
/// StartingSecond of the recording and is the period GlobalIndex of it; Qiec in pC.
class NOX_EXPORT PdTimeNavigationElementV1 : public CatalogueEntry<PdTimeNavigationElementV1>
{
public:
    static constexpr EntryIdentity Identity{"pd_time_navigation_element", "v1",
                                            "{A9F1E322-6178-11E7-AEE6-AB8448BFCB33}"};
    static const PropertyTable &Properties();
};

} // namespace CommonNOX::Entries::Recording

NOX_DECLARE_ENTRY(CommonNOX::Entries::Recording, PdGlobalNavigationElementV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Recording, PdReplayActionV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Recording, PdReplayAnnotationV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Recording, PdReplayQtUtOverviewV1)
NOX_DECLARE_ENTRY(CommonNOX::Entries::Recording, PdTimeNavigationElementV1)
