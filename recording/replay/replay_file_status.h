#pragma once

#include "nox_export.h"

#include <QMetaType>
#include <QObject>

namespace CommonNOX::Importer
{

Q_NAMESPACE_EXPORT(NOX_EXPORT)

/// How far a replay file is open.
enum class ReplayFileStatus {
    NotLoaded,
    Loading,       ///< its storage is being opened and, where it was not closed, looked through
    BuildingIndex, ///< the time lines of its channels are being read
    Loaded,
    Failed,
};
Q_ENUM_NS(ReplayFileStatus)

/// The steps of opening a replay file, in order.
enum class LoadingStage {
    OpenStorage = 1, ///< with the look through a file that was not closed, and its recovery
    Header = 2,
    EntryLists = 3,     ///< of actions, annotations and pattern snapshots
    TimeSpans = 4,      ///< the runs of each channel's time elements
    TimeNavigation = 5, ///< time elements that are missing, from their blocks
    GlobalNavigation = 6,
    PeriodUuids = 7,
};
Q_ENUM_NS(LoadingStage)

} // namespace CommonNOX::Importer
