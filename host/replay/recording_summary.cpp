#include "host/replay/recording_summary.h"

#include "entries/catalogue/recording.h"
#include "entries/catalogue/results_pd.h"
#include "entries/property_keys.h"
#include "recording/navigation_records.h"
#include "recording/replay/channel_time_navigation.h"
#include "recording/replay/header_reader.h"
#include "recording/replay_file.h"

#include <QDateTime>
#include <QFileInfo>
#include <QJsonArray>

#include <algorithm>

namespace NoxHost
{

using namespace CommonNOX::Entries::Recording;
using namespace CommonNOX::PD::Recording;
using namespace FrameworkCore::AppData::Storage;
using CommonNOX::Entries::Results::Space2D::PeriodBlockV1;
using CommonNOX::Importer::ChannelTimeNavigation;
namespace Keys = CommonNOX::Entries::Keys;

namespace
{

constexpr std::size_t KeptRuns = 4;

QString stateName(RecordingSummary::State state)
{
    switch (state) {
    case StorageReader::State::Closed:
        return QStringLiteral("closed");
    case StorageReader::State::Interrupted:
        return QStringLiteral("interrupted");
    case StorageReader::State::BeingWritten:
        break;
    }
    return QStringLiteral("being_recorded");
}

/// Elements of a packed kind: behind the last run.
qint64 countElements(const StorageReader &reader, int kind)
{
    const EntryKind &described = *reader.getKind(kind);
    if (described.recordSize == 0)
        return reader.countRows(kind);
    const std::vector<RowPlace> runs = reader.listRows(kind);
    StoredRow last;
    if (runs.empty() || reader.read(runs.back().id, last) != StorageReader::Outcome::Found)
        return runs.empty() ? 0 : runs.back().number;
    return last.number + last.data.size() / described.recordSize;
}

void readStart(const StorageReader &reader, RecordingSummary &summary)
{
    for (const int kind : reader.findKinds(TypeOf<PdGlobalNavigationElementV1>())) {
        StoredRow run;
        const auto place = reader.findRowAtOrBefore(kind, 0);
        if (reader.getKind(kind)->recordSize != RecordSize ||
            reader.read(place.id, run) != StorageReader::Outcome::Found || run.data.size() < RecordSize)
            continue;
        const GlobalRecord first = ReadGlobalRecord(run.data.constData());
        if (first.type == PdGlobalNavigationType::RecordingStart)
            summary.startMs = first.value;
    }
    // The header is written at about that time.
    const QDateTime written = summary.header ? summary.header->get(Keys::DateTime).toDateTime() : QDateTime();
    if (!summary.startMs && written.isValid())
        summary.startMs = written.toMSecsSinceEpoch();
}

void readChannels(const std::shared_ptr<const StorageReader> &reader, RecordingSummary &summary)
{
    std::map<int, std::pair<int, int>> kinds; // of elements and of blocks, by channel
    for (const int kind : reader->findKinds(TypeOf<PdTimeNavigationElementV1>())) {
        if (const auto channel = ParseClassification(reader->getKind(kind)->classification);
            channel && *channel >= 0 && reader->getKind(kind)->recordSize == RecordSize)
            kinds[*channel].first = kind;
    }
    for (const int kind : reader->findKinds(TypeOf<PeriodBlockV1>())) {
        if (const auto channel = ParseClassification(reader->getKind(kind)->classification); channel && *channel >= 0)
            kinds[*channel].second = kind;
    }
    const QVariantList names = summary.header ? summary.header->get(Keys::PD_ChannelName).toList() : QVariantList();
    double lastSecond = 0.0;
    for (const auto &[channel, numbers] : kinds) {
        ChannelTimeNavigation navigation(reader, channel, numbers.first, numbers.second, KeptRuns);
        navigation.readSpans({});
        navigation.fillHoles({}, {});
        RecordingSummary::Channel described;
        described.channel = channel;
        described.name = names.value(int(summary.channels.size())).toString();
        described.periods = navigation.getCount() - navigation.getLostCount();
        described.rebuilt = navigation.getRebuiltCount();
        if (const auto first = navigation.find(0))
            described.firstPeriod = first->globalIndex;
        if (const auto last = navigation.find(navigation.getCount() - 1)) {
            described.lastPeriod = last->globalIndex;
            lastSecond = std::max(lastSecond, double(last->startingSecond));
        }
        summary.channels.push_back(described);
    }
    const double told = summary.header ? summary.header->get(Keys::File_Duration).toDouble() / 1000.0 : 0.0;
    summary.seconds = told > 0.0 ? told : lastSecond;
}

} // namespace

std::optional<RecordingSummary> summarize(const QString &path, const StorageProgress &progress, QString &error)
{
    RecordingSummary summary;
    summary.path = path;
    std::shared_ptr<StorageReader> reader = StorageReader::Open(path, StorageReader::Access::Normal, error);
    if (!reader) {
        QString second;
        reader = StorageReader::Open(path, StorageReader::Access::Rescue, second);
        summary.isCutShort = true;
    }
    if (!reader) {
        error += QLatin1Char('.');
        return std::nullopt;
    }
    error.clear();
    summary.size = reader->getSize();
    summary.state = reader->getState();
    summary.header = CommonNOX::Importer::ReadHeader(*reader);
    for (int kind = 1; reader->getKind(kind); ++kind)
        summary.counts[reader->getKind(kind)->category] += countElements(*reader, kind);
    readStart(*reader, summary);
    readChannels(reader, summary);
    summary.check = CheckStorage(*reader, progress);
    if (!summary.check.isComplete) {
        error = QStringLiteral("interrupted.");
        return std::nullopt;
    }
    return summary;
}

QJsonObject toJson(const RecordingSummary &summary)
{
    QJsonObject object{{QStringLiteral("file"), summary.path},
                       {QStringLiteral("size"), double(summary.size)},
                       {QStringLiteral("state"), stateName(summary.state)},
                       {QStringLiteral("duration"), summary.seconds}};
    if (summary.startMs)
        object.insert(QStringLiteral("start"),
                      QDateTime::fromMSecsSinceEpoch(*summary.startMs, Qt::UTC).toString(Qt::ISODateWithMs));
    if (summary.header) {
        QJsonObject header;
        for (const QString &name : summary.header->getPropertyNames()) {
            const QVariant value = summary.header->get(name);
            header.insert(name, value.userType() == QMetaType::QDateTime
                                    ? QJsonValue(value.toDateTime().toUTC().toString(Qt::ISODateWithMs))
                                    : QJsonValue::fromVariant(value));
        }
        object.insert(QStringLiteral("header"), header);
    }
    QJsonArray channels;
    for (const auto &channel : summary.channels)
        channels.append(QJsonObject{{QStringLiteral("channel"), channel.channel},
                                    {QStringLiteral("name"), channel.name},
                                    {QStringLiteral("periods"), double(channel.periods)},
                                    {QStringLiteral("first_period"), double(channel.firstPeriod)},
                                    {QStringLiteral("last_period"), double(channel.lastPeriod)},
                                    {QStringLiteral("rebuilt"), double(channel.rebuilt)}});
    object.insert(QStringLiteral("channels"), channels);
    QJsonObject counts;
    for (const auto &[category, count] : summary.counts)
        counts.insert(category, double(count));
    object.insert(QStringLiteral("entries"), counts);
    QJsonArray first;
    for (const DamagedEntry &entry : summary.check.first)
        first.append(QJsonObject{{QStringLiteral("uuid"), entry.uuid}, {QStringLiteral("category"), entry.category}});
    object.insert(QStringLiteral("integrity"),
                  QJsonObject{{QStringLiteral("intact"), summary.isIntact()},
                              {QStringLiteral("rows"), double(summary.check.rows)},
                              {QStringLiteral("damaged"), double(summary.check.damaged)},
                              {QStringLiteral("index_damaged"), summary.check.isIndexWrong},
                              {QStringLiteral("cut_short"), summary.isCutShort},
                              {QStringLiteral("first_damaged"), first}});
    return object;
}

QString toText(const RecordingSummary &summary)
{
    QStringList lines;
    const auto add = [&](const char *label, const QString &text) {
        lines.append(QStringLiteral("%1 %2").arg(QString::fromLatin1(label), -10).arg(text));
    };
    add("file", summary.path);
    add("size", QStringLiteral("%1 bytes").arg(summary.size));
    add("state", stateName(summary.state).replace(QLatin1Char('_'), QLatin1Char(' ')));
    if (summary.startMs)
        add("start", QDateTime::fromMSecsSinceEpoch(*summary.startMs, Qt::UTC).toString(Qt::ISODateWithMs));
    add("duration", QStringLiteral("%1 s").arg(summary.seconds, 0, 'f', 2));
    if (summary.header) {
        lines.append(QString());
        lines.append(summary.header->getSummary());
    }
    lines.append(QString());
    for (const auto &channel : summary.channels) {
        QString text = QStringLiteral("channel %1  %2 periods, %3 to %4")
                           .arg(channel.channel)
                           .arg(channel.periods)
                           .arg(channel.firstPeriod)
                           .arg(channel.lastPeriod);
        if (channel.rebuilt > 0)
            text += QStringLiteral(", %1 without their time element").arg(channel.rebuilt);
        lines.append(text);
    }
    for (const auto &[category, count] : summary.counts)
        lines.append(QStringLiteral("%1  %2").arg(count, 9).arg(category));
    lines.append(QString());
    if (summary.isIntact()) {
        add("integrity", QStringLiteral("all %1 rows are intact").arg(summary.check.rows));
        return lines.join(QLatin1Char('\n'));
    }
    QStringList faults;
    if (summary.isCutShort)
        faults.append(QStringLiteral("the file is cut short or its tables are damaged"));
    if (!summary.header)
        faults.append(QStringLiteral("the header cannot be read"));
    if (summary.check.damaged > 0)
        faults.append(QStringLiteral("%1 of %2 rows are damaged").arg(summary.check.damaged).arg(summary.check.rows));
    if (summary.check.isIndexWrong)
        faults.append(QStringLiteral("the index does not fit its rows"));
    add("integrity", faults.join(QStringLiteral("; ")));
    for (const DamagedEntry &entry : summary.check.first)
        lines.append(QStringLiteral("  %1 %2").arg(entry.uuid, entry.category));
    const auto rest = summary.check.damaged - qint64(summary.check.first.size());
    if (rest > 0)
        lines.append(QStringLiteral("  and %1 more").arg(rest));
    return lines.join(QLatin1Char('\n'));
}

} // namespace NoxHost
