#pragma once

#include "nox_export.h"
#include "platform/storage/storage_reader.h"
#include "recording/navigation_records.h"

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace CommonNOX::Importer
{

using FrameworkCore::AppData::Storage::StorageReader;
using PD::Recording::TimeRecord;

/// Where seconds lie on the ticks of a recording: its origin is the start of its first period.
struct RecordingOrigin
{
    std::optional<qint64> ticks; ///< nothing where the first block cannot be read
};

/// The time line of one channel: its time elements in order, numbered from 0.
///
/// Runs of elements are read when they are needed, so that opening a recording of a day costs no more than one of a
/// minute, and a bounded number of them is kept. Elements that are missing are made again from the channel's blocks; so
/// are all whose runs are damaged once the first such run is met. Any thread.
class NOX_EXPORT ChannelTimeNavigation
{
public:
    /// Numbers of the kinds of elements and blocks, 0 for none; `mostRuns` are kept in memory.
    ChannelTimeNavigation(const std::shared_ptr<const StorageReader> &reader, int channel, int elementKind,
                          int blockKind, std::size_t mostRuns);

    /// Called between steps with the part from 0 to 1 that is done; false ends the work.
    using Progress = std::function<bool(double done)>;
    /// Reads the list of runs.
    bool readSpans(const Progress &progress);
    /// Makes the elements that are missing.
    bool fillHoles(const RecordingOrigin &origin, const Progress &progress);

    int getChannel() const { return m_channel; }
    int getElementKind() const { return m_elementKind; }
    int getBlockKind() const { return m_blockKind; }
    quint64 getCount() const;
    /// Elements that were made from blocks; of these, periods that are lost with their blocks.
    quint64 getRebuiltCount() const;
    quint64 getLostCount() const;

    /// Nothing beyond the end, and for a period that is lost.
    std::optional<TimeRecord> find(quint64 number) const;
    /// The first element whose period starts in this second or later; getCount() when there is none.
    quint64 findSecond(quint32 second) const;
    /// The first element of this period index or a later one; getCount() when there is none.
    quint64 findPeriod(quint64 globalIndex) const;
    /// The first element whose block is stored in this row or a later one; getCount() when there is none.
    quint64 findBlock(quint64 row) const;

    /// The uuid of an element, by which its period is known too.
    QString toUuid(quint64 number) const;
    /// Nothing for a uuid of another channel or file.
    std::optional<quint64> toNumber(const QString &uuid) const;

    /// What the file-wide list ties to a place on this time line, also of the device.
    struct Mark
    {
        Entries::Recording::PdGlobalNavigationType type{};
        quint64 element = 0; ///< the one that it precedes
        QString uuid;        ///< of the entry
    };
    void setMarks(std::vector<Mark> marks) { m_marks = std::move(marks); }
    const std::vector<Mark> &getMarks() const { return m_marks; }

private:
    using Records = std::vector<TimeRecord>;
    struct Run
    {
        quint64 first = 0;
        quint64 count = 0;
        qint64 row = 0;                                 ///< 0 for one that was made from blocks
        std::optional<TimeRecord> begin = std::nullopt; ///< once it has been read
    };
    struct Hole
    {
        quint64 first = 0;
        std::optional<quint64> end; ///< nothing at the end of the time line
    };

    // All of them under the lock.
    QByteArray readRun(qint64 row) const;
    /// Empty when the run is damaged.
    QByteArray load(const Run &run) const;
    std::size_t placeOf(quint64 number) const;
    std::optional<TimeRecord> findRecord(quint64 number) const;
    template <class Before>
    quint64 findFirst(Before isBefore) const;
    /// Reads all runs, and makes those again that are damaged.
    void mend() const;
    bool fill(const Progress &progress) const;
    Records rebuild(const Hole &hole, const Progress &progress) const;
    bool hasBlocksBehindTheEnd() const;
    void insertRebuilt(quint64 first, const Records &records) const;

    const std::shared_ptr<const StorageReader> m_reader;
    const int m_channel;
    const int m_elementKind;
    const int m_blockKind;
    const std::size_t m_mostRuns;
    std::vector<Mark> m_marks;
    RecordingOrigin m_origin;
    // Recursive: what is made again leans on its neighbours.
    mutable std::recursive_mutex m_mutex; // guards the rest, which damage that is met late changes
    mutable quint64 m_count = 0;
    mutable quint64 m_rebuilt = 0;
    mutable quint64 m_lost = 0;
    mutable bool m_isMended = false;
    mutable std::vector<Run> m_runs; // by first element
    mutable std::vector<Hole> m_holes;
    mutable std::map<quint64, QByteArray> m_made;             // runs by first element
    mutable std::list<std::pair<quint64, QByteArray>> m_kept; // by first element, the latest first
};

} // namespace CommonNOX::Importer
