#include "recording/recorder/channel_recording_state.h"

#include "entries/catalogue/results_pd.h"
#include "entries/data_entry_parser.h"
#include "entries/property_keys.h"
#include "recording/replay_file.h"

#include <algorithm>

namespace CommonNOX::PD::Recording
{

using namespace Entries::Recording;
using Entries::Results::Space2D::PeriodBlockV1;
namespace Keys = Entries::Keys;

ChannelRecordingState::ChannelRecordingState(StorageState &storage, int channel, double initialQiec,
                                             const std::optional<ChannelContinuation> &continued)
    : m_channel(channel),
      m_blockKind(storage.getKind({TypeOf<PeriodBlockV1>(), cstrPeriodBlockCategory, ToClassification(channel)})),
      m_elementKind(storage.getKind({TypeOf<PdTimeNavigationElementV1>(), PdTimeNavigationElementV1::Category(),
                                     ToClassification(channel), RecordSize})),
      m_lastQiec(continued ? continued->qiec : initialQiec)
{
    if (continued)
        m_lastIndex = continued->lastIndex;
}

qint64 ChannelRecordingState::addPeriodBlock(StorageState &storage, RecordingClock &clock, quint64 index,
                                             const Devices::PdDevice::PeriodBlockPtr &block, qint64 nowMs)
{
    const QByteArray bytes = Detail::EntryToRawData(block, {});
    if (bytes.isEmpty())
        return 0;
    const qint64 row = storage.append(m_blockKind, qint64(index), bytes);
    quint32 offset = 0;
    const QVariantList periods = block->get(Keys::Periods).toList();
    for (const QVariant &value : periods) {
        const DataEntryConstPtr period = DataEntryFromVariant(value);
        TimeRecord record;
        record.globalIndex = index + offset;
        record.block = quint64(row);
        record.periodOffset = offset++;
        record.startingSecond =
            period ? clock.note(m_channel, period->get(Keys::StartTime).toLongLong(),
                                period->get(Keys::EndTime).toLongLong(), period->get(Keys::SampleRate).toUInt())
                   : clock.note(m_channel, 0, 0, 0);
        if (period && !m_isCalibrationKnown) {
            m_isCalibrationKnown = true;
            m_calibration = {period->get(Keys::PdCalibration).toDouble(), period->get(Keys::TvCalibration).toDouble()};
        }
        m_waiting.push_back({record, nowMs});
        ++m_nextElement;
    }
    const std::lock_guard guard(m_mutex);
    m_periodCount += offset;
    return row;
}

void ChannelRecordingState::noteQiec(quint64 index, double value)
{
    m_areReadingsComing = true;
    m_readings[index] = value;
}

bool ChannelRecordingState::findQiec(quint64 index, double &qiec)
{
    // Readings up to the period before it; the last one counts.
    const auto end = m_readings.lower_bound(index);
    bool isThere = !m_lastIndex;
    for (auto reading = m_readings.begin(); reading != end; reading = m_readings.erase(reading)) {
        m_lastQiec = reading->second;
        isThere = isThere || reading->first >= *m_lastIndex;
    }
    qiec = m_lastQiec;
    // A later reading says that no other one comes.
    return isThere || (m_areReadingsComing && !m_readings.empty());
}

void ChannelRecordingState::append(StorageState &storage)
{
    m_lastIndex = m_waiting.front().record.globalIndex;
    storage.appendElement(m_elementKind, m_waiting.front().record);
    m_waiting.pop_front();
}

void ChannelRecordingState::flushElements(StorageState &storage, qint64 nowMs)
{
    while (!m_waiting.empty()) {
        Waiting &first = m_waiting.front();
        const bool isThere = findQiec(first.record.globalIndex, first.record.qiec);
        if (!isThere && m_areReadingsComing && nowMs - first.sinceMs < MsOfPatience)
            return;
        append(storage);
    }
}

void ChannelRecordingState::flushAllElements(StorageState &storage)
{
    while (!m_waiting.empty()) {
        findQiec(m_waiting.front().record.globalIndex, m_waiting.front().record.qiec);
        append(storage);
    }
}

qint64 ChannelRecordingState::findElement(quint64 index) const
{
    const auto waiting = std::find_if(m_waiting.begin(), m_waiting.end(),
                                      [index](const Waiting &element) { return element.record.globalIndex >= index; });
    const qint64 behind = qint64(m_waiting.end() - waiting);
    if (waiting != m_waiting.end() && (waiting != m_waiting.begin() || waiting->record.globalIndex == index))
        return m_nextElement - behind;
    // Stored already: counted back from the last one, as periods follow one another.
    const qint64 stored = m_nextElement - qint64(m_waiting.size());
    const quint64 back = m_lastIndex && *m_lastIndex >= index ? *m_lastIndex - index + 1 : 0;
    return qMax<qint64>(0, stored - qint64(qMin<quint64>(back, quint64(stored))));
}

quint64 ChannelRecordingState::getPeriodCount() const
{
    const std::lock_guard guard(m_mutex);
    return m_periodCount;
}

std::optional<std::pair<double, double>> ChannelRecordingState::takeCalibration()
{
    return std::exchange(m_calibration, std::nullopt);
}

} // namespace CommonNOX::PD::Recording
