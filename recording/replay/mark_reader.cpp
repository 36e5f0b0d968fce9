#include "recording/replay/mark_reader.h"

#include "entries/catalogue/results_pd.h"
#include "entries/property_keys.h"
#include "recording/replay/block_reader.h"
#include "recording/replay_file.h"

#include <algorithm>
#include <set>

namespace CommonNOX::Importer
{

using namespace FrameworkCore::AppData::Storage;
using namespace Entries::Recording;
using namespace PD::Recording;
using Mark = ChannelTimeNavigation::Mark;
using Type = PdGlobalNavigationType;

namespace
{

class MarkReader
{
public:
    MarkReader(const StorageReader &reader, int channel, const ChannelTimeNavigation &navigation)
        : m_reader(reader), m_channel(channel), m_navigation(navigation)
    {}

    bool readList();
    void placeUnnamed();
    std::vector<Mark> takeMarks() { return std::move(m_marks); }

private:
    void take(const StoredRow &run);
    void placeRowsOf(int kind, Type type);
    Type typeOf(qint64 row, Type type) const;
    /// What concerns the device stands on the time line of the first channel.
    bool isFirstChannel() const;

    const StorageReader &m_reader;
    const int m_channel;
    const ChannelTimeNavigation &m_navigation;
    std::vector<Mark> m_marks;
    std::set<qint64> m_named;
    bool m_isDamaged = false;
};

bool MarkReader::readList()
{
    const std::vector<int> kinds = m_reader.findKinds(TypeOf<PdGlobalNavigationElementV1>());
    m_isDamaged = kinds.empty();
    for (const int kind : kinds) {
        if (m_reader.getKind(kind)->recordSize != RecordSize)
            return false;
        const std::vector<RowPlace> runs = m_reader.listRows(kind);
        m_isDamaged = m_isDamaged || runs.empty();
        for (std::size_t i = 0; i < runs.size(); ++i) {
            StoredRow run;
            if (runs[i].number == qint64(i) * ElementsOfRun &&
                m_reader.read(runs[i].id, run) == StorageReader::Outcome::Found)
                take(run);
            else
                m_isDamaged = true;
        }
    }
    return true;
}

void MarkReader::take(const StoredRow &run)
{
    for (int at = 0; at + RecordSize <= run.data.size(); at += RecordSize) {
        const GlobalRecord record = ReadGlobalRecord(run.data.constData() + at);
        m_named.insert(qint64(record.entry));
        const bool isHere =
            record.channel == m_channel || (record.channel == DeviceItself && m_navigation.getElementKind() != 0 &&
                                            record.elementKind == m_navigation.getElementKind());
        // Blocks have their time elements.
        if (isHere && record.type != Type::PeriodBlock)
            m_marks.push_back({record.type, record.element, m_reader.getUuids().toUuid({0, qint64(record.entry)})});
    }
}

void MarkReader::placeUnnamed()
{
    if (!m_isDamaged)
        return;
    const std::pair<QString, Type> types[] = {
        {TypeOf<PdReplayActionV1>(), Type::Action},
        {TypeOf<PdReplayAnnotationV1>(), Type::Annotation},
        {TypeOf<Entries::Results::Space2D::VoltageScopeV1>(), Type::VoltageScope},
        {TypeOf<Entries::Results::Space3D::PatternV1>(), Type::PatternSnapshot},
    };
    for (const auto &[name, type] : types) {
        for (const int kind : m_reader.findKinds(name)) {
            const auto channel = ParseClassification(m_reader.getKind(kind)->classification);
            if (channel == m_channel || (channel == DeviceItself && isFirstChannel()))
                placeRowsOf(kind, type);
        }
    }
    std::stable_sort(m_marks.begin(), m_marks.end(),
                     [](const Mark &left, const Mark &right) { return left.element < right.element; });
}

void MarkReader::placeRowsOf(int kind, Type type)
{
    for (const RowPlace &place : m_reader.listRows(kind)) {
        if (m_named.count(place.id) == 0)
            m_marks.push_back({typeOf(place.id, type), m_navigation.findBlock(quint64(place.id)),
                               m_reader.getUuids().toUuid({0, place.id})});
    }
}

Type MarkReader::typeOf(qint64 row, Type type) const
{
    const auto entry = type == Type::Annotation ? ReadEntry(m_reader, row) : nullptr;
    const QString name = entry ? entry->get(Entries::Keys::Name).toString() : QString();
    return name == InceptionAnnotation || name == ExtinctionAnnotation ? Type::Decision : type;
}

bool MarkReader::isFirstChannel() const
{
    for (const int kind : m_reader.findKinds(TypeOf<PdTimeNavigationElementV1>())) {
        const auto channel = ParseClassification(m_reader.getKind(kind)->classification);
        if (channel && *channel >= 0 && *channel < m_channel)
            return false;
    }
    return true;
}

} // namespace

std::optional<std::vector<Mark>> ReadMarks(const StorageReader &reader, int channel,
                                           const ChannelTimeNavigation &navigation)
{
    MarkReader marks(reader, channel, navigation);
    if (!marks.readList())
        return std::nullopt;
    marks.placeUnnamed();
    return marks.takeMarks();
}

} // namespace CommonNOX::Importer
