#include "recording/replay/channel_time_navigation.h"

#include "entries/catalogue/results_pd.h"
#include "entries/log.h"
#include "entries/property_keys.h"
#include "recording/replay/block_reader.h"

#include <algorithm>
#include <limits>

namespace CommonNOX::Importer
{

using namespace FrameworkCore::AppData::Storage;
using namespace PD::Recording;
using Outcome = StorageReader::Outcome;
namespace Keys = Entries::Keys;

namespace
{

constexpr int BlocksOfPiece = 1000;
/// Looks at the progress after so many blocks.
constexpr int BlocksBetweenLooks = 64;

/// Runs that may be missing before the last one.
constexpr std::size_t Slack = 1024;

quint64 countOf(const QByteArray &run)
{
    return quint64(run.size() / RecordSize);
}

TimeRecord recordOf(const QByteArray &run, quint64 place)
{
    return ReadTimeRecord(run.constData() + place * RecordSize);
}

} // namespace

ChannelTimeNavigation::ChannelTimeNavigation(const std::shared_ptr<const StorageReader> &reader, int channel,
                                             int elementKind, int blockKind, std::size_t mostRuns)
    : m_reader(reader), m_channel(channel), m_elementKind(elementKind), m_blockKind(blockKind),
      m_mostRuns(std::max<std::size_t>(2, mostRuns))
{}

QByteArray ChannelTimeNavigation::readRun(qint64 row) const
{
    StoredRow stored;
    const bool isGood = m_reader->read(row, stored) == Outcome::Found && stored.kind == m_elementKind &&
                        stored.data.size() % RecordSize == 0 && stored.data.size() <= RecordSize * ElementsOfRun;
    return isGood ? stored.data : QByteArray();
}

bool ChannelTimeNavigation::readSpans(const Progress &progress)
{
    const std::lock_guard guard(m_mutex);
    std::vector<RowPlace> places;
    if (m_elementKind != 0)
        places = m_reader->listRows(m_elementKind);
    // Runs begin at multiples of their size, and no further than there are runs; anything else is a damaged row.
    const auto most = qint64(places.size() + Slack) * ElementsOfRun;
    places.erase(std::remove_if(places.begin(), places.end(),
                                [&](const RowPlace &place) {
                                    return place.number < 0 || place.number % ElementsOfRun != 0 || place.number > most;
                                }),
                 places.end());
    for (std::size_t i = 0; i < places.size(); ++i) {
        const quint64 first = quint64(places[i].number);
        if (first < m_count)
            continue;
        if (first > m_count)
            m_holes.push_back({m_count, first});
        // All but the last are full.
        const bool isLast = i + 1 == places.size();
        const quint64 count = isLast ? countOf(readRun(places[i].id)) : quint64(ElementsOfRun);
        if (count > 0)
            m_runs.push_back({first, count, places[i].id});
        m_count = first + count;
    }
    if (hasBlocksBehindTheEnd())
        m_holes.push_back({m_count, std::nullopt});
    return !progress || progress(1.0);
}

bool ChannelTimeNavigation::hasBlocksBehindTheEnd() const
{
    if (m_blockKind == 0)
        return false;
    const auto last = m_count > 0 ? findRecord(m_count - 1) : std::nullopt;
    if (!last)
        return !m_reader->listRows(m_blockKind, {std::numeric_limits<qint64>::min(), 0}, 1).empty();
    const qint64 blockNumber = qint64(last->globalIndex - last->periodOffset);
    if (!m_reader->listRows(m_blockKind, {blockNumber, qint64(last->block)}, 1).empty())
        return true;
    const auto block = ReadBlock(*m_reader, qint64(last->block));
    return block && CountPeriods(*block) > last->periodOffset + 1;
}

bool ChannelTimeNavigation::fillHoles(const RecordingOrigin &origin, const Progress &progress)
{
    const std::lock_guard guard(m_mutex);
    m_origin = origin;
    return fill(progress);
}

bool ChannelTimeNavigation::fill(const Progress &progress) const
{
    const std::vector<Hole> holes = std::exchange(m_holes, {});
    if (holes.empty())
        return true;
    for (const Hole &hole : holes) {
        bool isInterrupted = false;
        Records records = rebuild(hole, [&](double done) {
            isInterrupted = progress && !progress(done);
            return !isInterrupted;
        });
        if (isInterrupted)
            return false;
        m_rebuilt += records.size();
        if (hole.end && records.size() < *hole.end - hole.first) {
            m_lost += *hole.end - hole.first - records.size();
            const TimeRecord last =
                records.empty() ? findRecord(hole.first - 1).value_or(TimeRecord()) : records.back();
            const TimeRecord lost{last.globalIndex, 0, last.qiec, last.startingSecond, 0};
            records.resize(std::size_t(*hole.end - hole.first), lost);
        }
        insertRebuilt(hole.first, records);
    }
    if (m_rebuilt > 0 || m_lost > 0)
        qCWarning(libraryLog()).noquote()
            << QStringLiteral("the time line of channel %1 has gaps: %2 elements were made again from the blocks, "
                              "%3 periods are lost")
                   .arg(m_channel)
                   .arg(m_rebuilt)
                   .arg(m_lost);
    return true;
}

void ChannelTimeNavigation::mend() const
{
    m_isMended = true;
    m_kept.clear();
    std::vector<Run> good;
    for (const Run &run : m_runs) {
        const QByteArray bytes = run.row != 0 ? readRun(run.row) : QByteArray();
        if (run.row == 0 || countOf(bytes) >= run.count)
            good.push_back(run);
        else
            m_holes.push_back({run.first, run.first + run.count});
    }
    m_runs = std::move(good);
    fill({});
}

void ChannelTimeNavigation::insertRebuilt(quint64 first, const Records &records) const
{
    for (std::size_t at = 0; at < records.size(); at += ElementsOfRun) {
        const auto end = std::min(records.size(), at + ElementsOfRun);
        const Run run{first + at, end - at, 0, records[at]};
        for (std::size_t i = at; i < end; ++i)
            AppendRecord(m_made[run.first], records[i]);
        const auto place = std::lower_bound(m_runs.begin(), m_runs.end(), run.first,
                                            [](const Run &other, quint64 number) { return other.first < number; });
        m_runs.insert(place, run);
    }
    m_count = std::max(m_count, first + records.size());
}

ChannelTimeNavigation::Records ChannelTimeNavigation::rebuild(const Hole &hole, const Progress &progress) const
{
    Records records;
    if (m_blockKind == 0)
        return records;
    const auto before = hole.first > 0 ? findRecord(hole.first - 1) : std::nullopt;
    const TimeRecord endless{0, std::numeric_limits<qint64>::max(), 0.0, 0, 0};
    const TimeRecord after = (hole.end ? findRecord(*hole.end) : std::nullopt).value_or(endless);
    // Where the instrument's clock began anew, seconds lie elsewhere: the neighbour tells by how much.
    qint64 shift = 0;
    const auto secondOf = [&](const DataEntryConstPtr &period) -> std::optional<qint64> {
        const quint32 rate = period ? period->get(Keys::SampleRate).toUInt() : 0;
        if (rate == 0 || !m_origin.ticks)
            return std::nullopt;
        const qint64 ticks = period->get(Keys::StartTime).toLongLong();
        return ticks > *m_origin.ticks ? qint64((quint64(ticks) - quint64(*m_origin.ticks)) / rate) : 0;
    };
    TimeRecord last = before.value_or(TimeRecord());
    RowPlace place{std::numeric_limits<qint64>::min(), 0};
    if (before) {
        place = {qint64(before->globalIndex - before->periodOffset), qint64(before->block) - 1};
        const auto block = ReadBlock(*m_reader, qint64(before->block));
        if (const auto second = block ? secondOf(PeriodOf(*block, before->periodOffset)) : std::nullopt)
            shift = qint64(before->startingSecond) - *second;
    }
    const quint64 most = hole.end ? *hole.end - hole.first : std::numeric_limits<quint64>::max();
    const qint64 total = m_reader->countRows(m_blockKind);
    qint64 seen = 0;
    for (;;) {
        const std::vector<RowPlace> piece = m_reader->listRows(m_blockKind, place, BlocksOfPiece);
        for (const RowPlace &next : piece) {
            // The index of a damaged file may lead in circles.
            if (seen > total || records.size() >= most || next.id > qint64(after.block))
                return records;
            if (++seen % BlocksBetweenLooks == 0 && !progress(double(seen) / double(total)))
                return records;
            place = next;
            const auto block = ReadBlock(*m_reader, next.id);
            const quint32 count = block ? CountPeriods(*block) : 0;
            for (quint32 offset = 0; offset < count && records.size() < most; ++offset) {
                if (before && next.id == qint64(before->block) && offset <= before->periodOffset)
                    continue;
                if (next.id == qint64(after.block) && offset >= after.periodOffset)
                    return records;
                const auto second = secondOf(PeriodOf(*block, offset));
                if (second)
                    last.startingSecond =
                        quint32(qBound<qint64>(0, *second + shift, std::numeric_limits<quint32>::max()));
                last.globalIndex = quint64(next.number) + offset;
                last.block = quint64(next.id);
                last.periodOffset = offset;
                records.push_back(last);
            }
        }
        if (piece.size() < std::size_t(BlocksOfPiece))
            return records;
    }
}

/// Of the run that begins at the element or before it; the number of runs when there is none.
std::size_t ChannelTimeNavigation::placeOf(quint64 number) const
{
    const auto run = std::upper_bound(m_runs.begin(), m_runs.end(), number,
                                      [](quint64 value, const Run &other) { return value < other.first; });
    return run == m_runs.begin() ? m_runs.size() : std::size_t(run - m_runs.begin()) - 1;
}

QByteArray ChannelTimeNavigation::load(const Run &run) const
{
    if (run.row == 0)
        return m_made.at(run.first);
    const auto kept =
        std::find_if(m_kept.begin(), m_kept.end(), [&](const auto &other) { return other.first == run.first; });
    if (kept != m_kept.end()) {
        m_kept.splice(m_kept.begin(), m_kept, kept);
        return kept->second;
    }
    const QByteArray bytes = readRun(run.row);
    if (countOf(bytes) < run.count)
        return {};
    m_kept.emplace_front(run.first, bytes);
    if (m_kept.size() > m_mostRuns)
        m_kept.pop_back();
    return bytes;
}

std::optional<TimeRecord> ChannelTimeNavigation::findRecord(quint64 number) const
{
    const std::size_t place = placeOf(number);
    if (place == m_runs.size() || number >= m_runs[place].first + m_runs[place].count)
        return std::nullopt;
    const QByteArray records = load(m_runs[place]);
    if (records.isEmpty()) {
        if (m_isMended)
            return std::nullopt;
        mend();
        return findRecord(number);
    }
    const TimeRecord record = recordOf(records, number - m_runs[place].first);
    return record.block != 0 ? std::optional(record) : std::nullopt;
}

std::optional<TimeRecord> ChannelTimeNavigation::find(quint64 number) const
{
    const std::lock_guard guard(m_mutex);
    return findRecord(number);
}

quint64 ChannelTimeNavigation::getCount() const
{
    const std::lock_guard guard(m_mutex);
    return m_count;
}

quint64 ChannelTimeNavigation::getRebuiltCount() const
{
    const std::lock_guard guard(m_mutex);
    return m_rebuilt;
}

quint64 ChannelTimeNavigation::getLostCount() const
{
    const std::lock_guard guard(m_mutex);
    return m_lost;
}

template <class Before>
quint64 ChannelTimeNavigation::findFirst(Before isBefore) const
{
    const std::lock_guard guard(m_mutex);
    // The last run that begins before what is looked for.
    std::size_t low = 0;
    std::size_t high = m_runs.size();
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        if (!m_runs[middle].begin) {
            const QByteArray records = load(m_runs[middle]);
            if (records.isEmpty()) {
                if (m_isMended)
                    return m_count;
                mend();
                return findFirst(isBefore);
            }
            m_runs[middle].begin = recordOf(records, 0);
        }
        if (isBefore(*m_runs[middle].begin))
            low = middle + 1;
        else
            high = middle;
    }
    if (low == 0)
        return m_runs.empty() ? m_count : m_runs.front().first;
    const Run &run = m_runs[low - 1];
    const QByteArray records = load(run);
    quint64 first = 0;
    quint64 end = std::min(countOf(records), run.count);
    while (first < end) {
        const quint64 middle = first + (end - first) / 2;
        if (isBefore(recordOf(records, middle)))
            first = middle + 1;
        else
            end = middle;
    }
    return run.first + first;
}

quint64 ChannelTimeNavigation::findSecond(quint32 second) const
{
    return findFirst([second](const TimeRecord &record) { return record.startingSecond < second; });
}

quint64 ChannelTimeNavigation::findPeriod(quint64 globalIndex) const
{
    return findFirst([globalIndex](const TimeRecord &record) { return record.globalIndex < globalIndex; });
}

quint64 ChannelTimeNavigation::findBlock(quint64 row) const
{
    return findFirst([row](const TimeRecord &record) { return record.block < row; });
}

QString ChannelTimeNavigation::toUuid(quint64 number) const
{
    return m_elementKind == 0 ? QString() : m_reader->getUuids().toUuid({m_elementKind, qint64(number)});
}

std::optional<quint64> ChannelTimeNavigation::toNumber(const QString &uuid) const
{
    const auto place = m_reader->getUuids().toPlace(uuid);
    if (!place || m_elementKind == 0 || place->kind != m_elementKind || quint64(place->number) >= getCount())
        return std::nullopt;
    return quint64(place->number);
}

} // namespace CommonNOX::Importer
