#pragma once

#include "entries/catalogue/replay_header.h"
#include "recording/recorder/recording_subject.h"
#include "recording/recorder/storage_state.h"

#include <mutex>

namespace CommonNOX::PD::Recording
{

/// The replay header of a recording, its first entry.
class HeaderState
{
public:
    static constexpr int FileVersion = 2;

    /// The row of the header.
    qint64 writeHeader(StorageState &storage, const RecordingSubject &subject, const QString &comment);
    /// The calibration of a channel, as its first period has it.
    void noteCalibration(int channel, double pd, double tv);
    /// Writes the header again, with the duration and the calibrations.
    void finish(StorageState &storage, double seconds);

    int getEntryCount() const;

private:
    mutable std::mutex m_mutex; // guards the count
    int m_entryCount = 0;
    qint64 m_row = 0;
    int m_kind = 0;
    QList<int> m_channels;
    Entries::Recording::PdReplayHeaderV2 m_header;
};

} // namespace CommonNOX::PD::Recording
