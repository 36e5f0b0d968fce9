#pragma once

#include "nox_export.h"

#include <QString>

#include <optional>

/// What recorder and replay agree on besides the entry classes; docs/replay-file.md tells it to others.
namespace CommonNOX::PD::Recording
{

inline const QString cstrDefaultFileNameTemplate = QStringLiteral("%TYPE% %SERIAL% %DATE%_%TIME%");
/// What the header is filed under.
inline const QString cstrHeaderEntryName = QStringLiteral("pd_replay_header");
inline const QString cstrPeriodBlockCategory = QStringLiteral("pd_replay_period_blocks");
inline const QString cstrVoltageScopeCategory = QStringLiteral("pd_replay_voltage_scope");
inline const QString cstrPatternSnapshotCategory = QStringLiteral("pd_replay_pattern_snapshot");
inline const QString FileSuffix = QStringLiteral(".pdr");
inline const QString FileFilter = QStringLiteral("PD Replay files (*.pdr);;Other files (*.*)");

/// The channel number that stands for the device.
inline constexpr int DeviceItself = -1;

/// "device" or "channel_N".
NOX_EXPORT QString ToClassification(int channel);
/// Nothing for another text.
NOX_EXPORT std::optional<int> ParseClassification(const QString &text);

/// Actions whose path is not that of a configuration change: what the channel is, in its text form, and what a
/// parameter of the device was.
inline const QString ChannelInformationPath = QStringLiteral("channel_information");
inline const QString ParameterPrefix = QStringLiteral("parameters");

/// Names of annotations that the recorder makes itself; the value of OverrunAnnotation and GapAnnotation is a text.
inline const QString OverrunAnnotation = QStringLiteral("overrun");
inline const QString GapAnnotation = QStringLiteral("connection_gap");
inline const QString InceptionAnnotation = QStringLiteral("inception");   ///< with the voltage
inline const QString ExtinctionAnnotation = QStringLiteral("extinction"); ///< with the voltage
inline const QString EndAnnotation = QStringLiteral("recording_end");
inline const QString ContinuationAnnotation = QStringLiteral("continued_from");

/// The key of the host's data repository for an entry class.
template <class Entry>
QString TypeOf()
{
    return Entry::Category() + QLatin1Char('_') + Entry::Version();
}

/// The identifier of a storage: the SHA-512 hash of its absolute path, in hexadecimal digits.
NOX_EXPORT QString MakeStorageIdentifier(const QString &absolutePath);

} // namespace CommonNOX::PD::Recording
