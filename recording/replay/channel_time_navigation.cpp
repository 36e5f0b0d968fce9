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

} // namespace

ChannelTimeNavigation::ChannelTimeNavigation(const std::shared_ptr<const StorageReader> &reader, int channel,
                                             int elementKind, int blockKind, std::size_t mostRuns)
    : m_reader(reader), m_channel(channel), m_elementKind(elementKind), m_blockKind(blockKind),
      m_mostRuns(std::max<std::size_t>(2, mostRuns))
{}

std::optional<ChannelTimeNavigation::Records> ChannelTimeNavigation::readRun(qint64 row) const
{
    StoredRow stored;
    if (m_reader->read(row, stored) != Outcome::Found || stored.kind != m_elementKind || stored.data.isEmpty() ||
        stored.data.size() % RecordSize != 0 || stored.data.size() > RecordSize * ElementsOfRun)
        return std::nullopt;
    Records records;
    records.reserve(std::size_t(stored.data.size() / RecordSize));
    for (int at = 0; at < stored.data.size(); at += RecordSize)
        records.push_back(ReadTimeRecord(stored.data.constData() + at));
    return records;
}

bool ChannelTimeNavigation::readSpans(const Progress &progress)
{
    const std::vector<RowPlace> places =
        m_elementKind != 0 ? m_reader->listRows(m_elementKind) : std::vector<RowPlace>();
    m_count = 0;
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (progress && !progress(double(i) / double(places.size())))
            return false;
        // A number that no run can have comes from a damaged row.
        const quint64 first = quint64(std::max<qint64>(0, places[i].number));
        if (first < m_count || first > m_count + places.size() * quint64(ElementsOfRun))
            continue;
        const auto records = readRun(places[i].id);
        if (!records)
            continue;
        if (first > m_count)
            m_holes.push_back({m_count, first});
        const auto shared = std::make_shared<const Records>(*records);
        m_runs.push_back(
            {first, records->size(), places[i].id, records->front().startingSecond, records->front().globalIndex});
        m_count = first + records->size();
        if (m_kept.size() < m_mostRuns)
            m_kept.emplace_front(first, shared);
    }
    if (hasBlocksBehindTheEnd())
        m_holes.push_back({m_count, std::nullopt});
    return true;
}

bool ChannelTimeNavigation::hasBlocksBehindTheEnd() const
{
    if (m_blockKind == 0)
        return false;
    const auto last = m_count > 0 ? find(m_count - 1) : std::nullopt;
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
    for (const Hole &hole : std::exchange(m_holes, {})) {
        bool isInterrupted = false;
        Records records = rebuild(hole, origin, [&](double done) {
            isInterrupted = progress && !progress(done);
            return !isInterrupted;
        });
        if (isInterrupted)
            return false;
        m_rebuilt += records.size();
        if (hole.end && records.size() < *hole.end - hole.first) {
            m_lost += *hole.end - hole.first - records.size();
            const TimeRecord last = records.empty() ? find(hole.first - 1).value_or(TimeRecord()) : records.back();
            TimeRecord lost{last.globalIndex, 0, last.qiec, last.startingSecond, 0};
            records.resize(std::size_t(*hole.end - hole.first), lost);
        }
        insertRebuilt(hole.first, records);
    }
    if (m_rebuilt > 0)
        qCWarning(libraryLog()).noquote()
            << QStringLiteral("the time line of channel %1 has gaps: %2 elements were made again from the blocks, "
                              "%3 periods are lost")
                   .arg(m_channel)
                   .arg(m_rebuilt)
                   .arg(m_lost);
    return true;
}

void ChannelTimeNavigation::insertRebuilt(quint64 first, const Records &records)
{
    for (std::size_t at = 0; at < records.size(); at += ElementsOfRun) {
        const auto end = std::min(records.size(), at + ElementsOfRun);
        const Run run{first + at, end - at, 0, records[at].startingSecond, records[at].globalIndex};
        m_made[run.first] = std::make_shared<const Records>(records.begin() + long(at), records.begin() + long(end));
        const auto place = std::lower_bound(m_runs.begin(), m_runs.end(), run.first,
                                            [](const Run &other, quint64 number) { return other.first < number; });
        m_runs.insert(place, run);
    }
    m_count = std::max(m_count, first + records.size());
}

ChannelTimeNavigation::Records ChannelTimeNavigation::rebuild(const Hole &hole, const RecordingOrigin &origin,
                                                              const Progress &progress)
{
    Records records;
    if (m_blockKind == 0)
        return records;
    const auto before = hole.first > 0 ? find(hole.first - 1) : std::nullopt;
    const TimeRecord endless{0, std::numeric_limits<qint64>::max(), 0.0, 0, 0};
    const TimeRecord after = (hole.end ? find(*hole.end) : std::nullopt).value_or(endless);
    // Where the instrument's clock began anew, seconds lie elsewhere: the neighbour tells by how much.
    qint64 shift = 0;
    const auto secondOf = [&](const DataEntryConstPtr &period) -> std::optional<qint64> {
        const quint32 rate = period ? period->get(Keys::SampleRate).toUInt() : 0;
        if (rate == 0 || !origin.ticks)
            return std::nullopt;
        const qint64 ticks = period->get(Keys::StartTime).toLongLong();
        return ticks > *origin.ticks ? qint64((quint64(ticks) - quint64(*origin.ticks)) / rate) : 0;
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

const ChannelTimeNavigation::Run *ChannelTimeNavigation::runOf(quint64 number) const
{
    auto run = std::upper_bound(m_runs.begin(), m_runs.end(), number,
                                [](quint64 value, const Run &other) { return value < other.first; });
    if (run == m_runs.begin())
        return nullptr;
    --run;
    return number < run->first + run->count ? &*run : nullptr;
}

std::shared_ptr<const ChannelTimeNavigation::Records> ChannelTimeNavigation::load(const Run &run) const
{
    const auto made = m_made.find(run.first);
    if (made != m_made.end())
        return made->second;
    const std::lock_guard guard(m_mutex);
    const auto kept =
        std::find_if(m_kept.begin(), m_kept.end(), [&](const auto &other) { return other.first == run.first; });
    if (kept != m_kept.end()) {
        m_kept.splice(m_kept.begin(), m_kept, kept);
        return kept->second;
    }
    auto records = readRun(run.row);
    // It was whole when the list was read.
    const auto shared = std::make_shared<const Records>(records ? std::move(*records) : Records());
    m_kept.emplace_front(run.first, shared);
    if (m_kept.size() > m_mostRuns)
        m_kept.pop_back();
    return shared;
}

std::optional<TimeRecord> ChannelTimeNavigation::find(quint64 number) const
{
    const Run *run = runOf(number);
    if (!run)
        return std::nullopt;
    const auto records = load(*run);
    const quint64 place = number - run->first;
    if (place >= records->size() || (*records)[place].block == 0)
        return std::nullopt;
    return (*records)[place];
}

template <class Before>
quint64 ChannelTimeNavigation::findFirst(Before isBefore, bool (*isRunBefore)(const Run &, quint64),
                                         quint64 value) const
{
    auto run = std::lower_bound(m_runs.begin(), m_runs.end(), value, isRunBefore);
    if (run == m_runs.begin())
        return run == m_runs.end() ? m_count : run->first;
    // The one before may hold it.
    const Run &earlier = *std::prev(run);
    const auto records = load(earlier);
    const auto found = std::partition_point(records->begin(), records->end(), isBefore);
    return earlier.first + quint64(found - records->begin());
}

quint64 ChannelTimeNavigation::findSecond(quint32 second) const
{
    return findFirst([second](const TimeRecord &record) { return record.startingSecond < second; },
                     [](const Run &run, quint64 value) { return run.firstSecond < value; }, second);
}

quint64 ChannelTimeNavigation::findPeriod(quint64 globalIndex) const
{
    return findFirst([globalIndex](const TimeRecord &record) { return record.globalIndex < globalIndex; },
                     [](const Run &run, quint64 value) { return run.firstIndex < value; }, globalIndex);
}

QString ChannelTimeNavigation::toUuid(quint64 number) const
{
    return m_elementKind == 0 ? QString() : m_reader->getUuids().toUuid({m_elementKind, qint64(number)});
}

std::optional<quint64> ChannelTimeNavigation::toNumber(const QString &uuid) const
{
    const auto place = m_reader->getUuids().toPlace(uuid);
    if (!place || m_elementKind == 0 || place->kind != m_elementKind || quint64(place->number) >= m_count)
        return std::nullopt;
    return quint64(place->number);
}

} // namespace CommonNOX::Importer
