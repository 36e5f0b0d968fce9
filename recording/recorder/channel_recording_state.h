#pragma once

#include "connections/devices/pd_device.h"
#include "recording/navigation_records.h"
#include "recording/recorder/recording_clock.h"
#include "recording/recorder/recording_subject.h"
#include "recording/recorder/storage_state.h"

#include <deque>
#include <map>
#include <mutex>
#include <optional>

namespace CommonNOX::PD::Recording
{

/// What one channel adds to a recording: its blocks, and a time element a period.
///
/// An element holds the Qiec reading before its period, which the evaluation, if there is one, brings a little later:
/// elements wait for it, in order, and go without it when it does not come in time.
class ChannelRecordingState
{
public:
    /// How long elements wait for readings.
    static constexpr int MsOfPatience = 1000;

    ChannelRecordingState(StorageState &storage, int channel, double initialQiec,
                          const std::optional<ChannelContinuation> &continued = {});

    /// Appends a block and queues the elements of its periods; the row, or 0 when it could not be turned into bytes.
    qint64 addPeriodBlock(StorageState &storage, RecordingClock &clock, quint64 index,
                          const Devices::PdDevice::PeriodBlockPtr &block, qint64 nowMs);
    /// Whether somebody evaluates Qiec, so that readings are worth waiting for.
    void setReadingsExpected(bool areExpected) { m_areReadingsComing = areExpected; }
    /// A reading of Qiec after the period of an index.
    void noteQiec(quint64 index, double value);
    /// Appends the elements whose readings are there, and those that have waited long enough.
    void flushElements(StorageState &storage, qint64 nowMs);
    /// All of them.
    void flushAllElements(StorageState &storage);

    int getElementKind() const { return m_elementKind; }
    bool areElementsWaiting() const { return !m_waiting.empty(); }
    /// Where a recording that goes on in a new file takes up.
    ChannelContinuation getContinuation() const { return {m_lastIndex.value_or(0), m_lastQiec}; }
    /// The number of the next period's element.
    qint64 getNextElement() const { return m_nextElement; }
    /// The element of a period that came not long ago; the next one's when it has none.
    qint64 findElement(quint64 index) const;
    quint64 getPeriodCount() const;
    /// The calibration factors of the first period; nothing before it and when they were taken.
    std::optional<std::pair<double, double>> takeCalibration();

private:
    struct Waiting
    {
        TimeRecord record;
        qint64 sinceMs;
    };
    void append(StorageState &storage);
    /// The reading before a period, when it is there.
    bool findQiec(quint64 index, double &qiec);

    const int m_channel;
    const int m_blockKind;
    const int m_elementKind;
    qint64 m_nextElement = 0;
    std::deque<Waiting> m_waiting;
    std::map<quint64, double> m_readings; // not used yet, by index
    double m_lastQiec;
    std::optional<quint64> m_lastIndex; // of the period whose element was appended last
    bool m_areReadingsComing = false;
    bool m_isCalibrationKnown = false;
    std::optional<std::pair<double, double>> m_calibration;
    mutable std::mutex m_mutex; // guards the count
    quint64 m_periodCount = 0;
};

} // namespace CommonNOX::PD::Recording
