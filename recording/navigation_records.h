#pragma once

#include "entries/catalogue/recording.h"
#include "nox_export.h"

#include <QByteArray>

namespace CommonNOX::PD::Recording
{

/// Elements that come with every period stand packed in runs, 32 bytes each, little-endian, instead of in rows of
/// their own. To every reader of the storage each is an entry of its class with a uuid of its own.
inline constexpr int RecordSize = 32;
/// A run is rewritten until it holds so many elements.
inline constexpr int ElementsOfRun = 1024;

/// A PdTimeNavigationElementV1; its Index is its number in the channel's elements.
struct TimeRecord
{
    quint64 globalIndex = 0;    ///< index of the period
    quint64 block = 0;          ///< row of its block
    double qiec = 0.0;          ///< the reading before the period
    quint32 startingSecond = 0; ///< of the recording
    quint32 periodOffset = 0;   ///< in the block

    friend bool operator==(const TimeRecord &, const TimeRecord &) = default;
};

/// A PdGlobalNavigationElementV1.
struct GlobalRecord
{
    Entries::Recording::PdGlobalNavigationType type = Entries::Recording::PdGlobalNavigationType::Undefined;
    qint16 channel = -1;     ///< -1 for the device
    quint16 elementKind = 0; ///< number of the kind of the time elements that `element` is one of; 0 for none
    quint64 entry = 0;       ///< row of the entry it names; 0 for none
    quint64 element = 0;     ///< number of the time element that the entry precedes
    qint64 value = 0;        ///< of RecordingStart the time in ms since 1970-01-01 UTC

    friend bool operator==(const GlobalRecord &, const GlobalRecord &) = default;
};

/// A PdReplayQtUtOverviewV1.
struct QtUtRecord
{
    double voltage = 0.0; ///< kV
    double qiec = 0.0;    ///< pC
    qint64 timestamp = 0; ///< ms since 1970-01-01 UTC
    quint32 sampleRate = 0;

    friend bool operator==(const QtUtRecord &, const QtUtRecord &) = default;
};

NOX_EXPORT void AppendRecord(QByteArray &run, const TimeRecord &record);
NOX_EXPORT void AppendRecord(QByteArray &run, const GlobalRecord &record);
NOX_EXPORT void AppendRecord(QByteArray &run, const QtUtRecord &record);
/// `bytes` are RecordSize.
NOX_EXPORT TimeRecord ReadTimeRecord(const char *bytes);
NOX_EXPORT GlobalRecord ReadGlobalRecord(const char *bytes);
NOX_EXPORT QtUtRecord ReadQtUtRecord(const char *bytes);

} // namespace CommonNOX::PD::Recording
