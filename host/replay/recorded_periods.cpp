#include "host/replay/recorded_periods.h"

#include "entries/catalogue/results_pd.h"
#include "entries/property_keys.h"
#include "host/pulses/period_entry.h"

namespace NoxHost
{

using namespace CommonNOX::Importer;

RecordedPeriods::RecordedPeriods(const std::shared_ptr<PdReplayFileLoader> &loader, const ReplaySelection &selection)
    : m_importer(loader)
{
    for (const int channel : loader->getChannels()) {
        if (!selection.channels.empty() && selection.channels.count(channel) == 0)
            continue;
        const auto navigation = loader->getChannelTimeNavigation(channel);
        const quint64 first = selection.fromSecond ? navigation->findSecond(*selection.fromSecond) : 0;
        const quint64 end = selection.toSecond ? navigation->findSecond(*selection.toSecond) : navigation->getCount();
        if (first >= end || !m_importer.setReplaySpan(channel, {unsigned(first), unsigned(end - 1)}))
            continue;
        m_importer.setReplaySpeedFactor(channel, 0.0);
        m_total += end - first;
        fetch(channel);
    }
}

void RecordedPeriods::fetch(int channel)
{
    ImporterInterface::PeriodPtr entry;
    RawPeriod period;
    // One that cannot be used is left out like one that cannot be read.
    do {
        if (!m_importer.extractNextPeriod(channel, entry) || !entry)
            return;
    } while (!readPeriodEntry(entry, period));
    const auto status = m_importer.getLoader()->getChannelReplayStatus(channel);
    period.channel = channel;
    period.index = status->element.globalIndex;
    m_heads.emplace(std::pair(period.index, channel), std::move(period));
}

bool RecordedPeriods::next(RawPeriod &period)
{
    if (m_heads.empty())
        return false;
    period = std::move(m_heads.begin()->second);
    m_heads.erase(m_heads.begin());
    ++m_taken;
    fetch(period.channel);
    return true;
}

double RecordedPeriods::getDone() const
{
    return m_total == 0 ? 1.0 : double(m_taken) / double(m_total);
}

QString describeLosses(const ReplayLosses &losses)
{
    QStringList clauses;
    if (losses.damaged > 0)
        clauses.append(QStringLiteral("%1 entries are damaged").arg(losses.damaged));
    if (losses.missing > 0)
        clauses.append(QStringLiteral("%1 entries are missing").arg(losses.missing));
    return clauses.join(QStringLiteral(", "));
}

QString describeLostPeriods(quint64 count)
{
    return count == 0 ? QString() : QStringLiteral("%1 periods are damaged and left out").arg(count);
}

QString objectToSelection(const PdReplayFileLoader &loader, const ReplaySelection &selection)
{
    const QList<int> channels = loader.getChannels();
    for (const int channel : selection.channels) {
        if (!channels.contains(channel))
            return QStringLiteral("the recording has no channel %1.").arg(channel);
    }
    if (!selection.fromSecond && !selection.toSecond)
        return {};
    for (const int channel : channels) {
        const auto navigation = loader.getChannelTimeNavigation(channel);
        const bool isWanted = selection.channels.empty() || selection.channels.count(channel) > 0;
        const quint64 end = selection.toSecond ? navigation->findSecond(*selection.toSecond) : navigation->getCount();
        if (isWanted && navigation->findSecond(selection.fromSecond.value_or(0)) < end)
            return {};
    }
    return QStringLiteral("the recording has no periods in this span.");
}

RecordedPeriodSource::RecordedPeriodSource(const std::shared_ptr<PdReplayFileLoader> &loader,
                                           const ReplaySelection &selection)
    : m_loader(loader), m_selection(selection)
{}

RecordedPeriodSource::~RecordedPeriodSource() = default;

bool RecordedPeriodSource::start()
{
    m_periods = std::make_unique<RecordedPeriods>(m_loader, m_selection);
    return true;
}

PeriodResult RecordedPeriodSource::next()
{
    PeriodResult result;
    if (m_periods->next(result.period))
        result.kind = PeriodResult::Kind::Period;
    return result;
}

QString RecordedPeriodSource::getTitle() const
{
    const QString title = m_loader->getHeader()->get(CommonNOX::Entries::Keys::Title).toString();
    return title.isEmpty() ? m_loader->getFileInformation().completeBaseName() : title;
}

QString RecordedPeriodSource::getRemark() const
{
    const QString clause = describeLostPeriods(m_periods ? m_periods->getLostCount() : 0);
    return clause.isEmpty() ? clause : clause + QLatin1Char('.');
}

} // namespace NoxHost
