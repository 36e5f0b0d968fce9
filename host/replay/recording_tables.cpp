#include "host/replay/recording_tables.h"

#include "entries/catalogue/results_pd.h"
#include "entries/measurement/samples.h"
#include "entries/property_keys.h"
#include "host/evaluation/reading_format.h"
#include "host/pulses/pulse_csv_writer.h"
#include "host/replay/recorded_periods.h"

#include <charconv>

namespace NoxHost
{

using namespace CommonNOX::Importer;
using CommonNOX::Entries::Results::Space2D::VoltageScopeV1;
namespace Keys = CommonNOX::Entries::Keys;

namespace
{

template <class Number>
std::string toText(Number value)
{
    char digits[32];
    const auto result = std::to_chars(std::begin(digits), std::end(digits), value);
    return std::string(digits, result.ptr);
}

class PulseTable : public RecordingTable
{
public:
    PulseTable(const std::shared_ptr<PdReplayFileLoader> &loader, const ReplaySelection &selection)
        : m_periods(loader, selection)
    {}

    std::string getHeader() const override { return pulseCsvHeader(); }
    bool next(std::string &rows) override
    {
        RawPeriod period;
        if (!m_periods.next(period))
            return false;
        appendPulseCsv(period, rows);
        return true;
    }
    double getDone() const override { return m_periods.getDone(); }
    QString getLosses() const override { return describeLostPeriods(m_periods.getLostCount()); }

private:
    RecordedPeriods m_periods;
};

class ScopeTable : public RecordingTable
{
public:
    ScopeTable(const std::shared_ptr<PdReplayFileLoader> &loader, const ReplaySelection &selection)
        : m_loader(loader), m_walk(*loader, selection)
    {}

    std::string getHeader() const override
    {
        return "scope,first_period,sample_rate,hardware_correction,calibration,sample,value\n";
    }
    bool next(std::string &rows) override
    {
        RecordedItem item;
        if (!m_walk.next(item))
            return false;
        const auto scope = std::dynamic_pointer_cast<const VoltageScopeV1>(item.entry);
        if (!scope)
            return true;
        const std::string begin = toText(m_count++) + ',' + toText(item.index) + ',' +
                                  toText(scope->get(Keys::SampleRate).toUInt()) + ',' +
                                  toText(scope->get(Keys::HardwareCorrection).toDouble()) + ',' +
                                  toText(scope->get(Keys::Calibration).toDouble()) + ',';
        const auto samples = scope->get(Keys::Samples).value<CommonNOX::Entries::SampleVector>();
        for (int i = 0; i < samples.size(); ++i)
            rows += begin + toText(i) + ',' + toText(samples[i]) + '\n';
        return true;
    }
    double getDone() const override { return m_walk.getDone(); }
    QString getLosses() const override { return describeLosses(m_walk.getLosses()); }

private:
    const std::shared_ptr<PdReplayFileLoader> m_loader;
    ReplayWalk m_walk;
    quint64 m_count = 0;
};

class ActionTable : public RecordingTable
{
public:
    ActionTable(const std::shared_ptr<PdReplayFileLoader> &loader, const ReplaySelection &selection)
        : m_loader(loader), m_walk(*loader, selection)
    {
        for (const int channel : loader->getChannels()) {
            for (const auto &mark : loader->getMarks(channel))
                m_places[mark.uuid] = {channel, mark.element};
        }
    }

    std::string getHeader() const override { return "kind,channel,period,second,name,value,old_value\n"; }
    bool next(std::string &rows) override
    {
        RecordedItem item;
        if (!m_walk.next(item))
            return false;
        const bool isAction = item.kind == RecordedItem::Kind::Action;
        if (!isAction && item.kind != RecordedItem::Kind::Annotation)
            return true;
        rows += isAction ? "action," : "annotation,";
        rows += (item.channel < 0 ? std::string("device") : toText(item.channel)) + ',';
        rows += describePlace(m_loader->getReader()->getUuids().toUuid({0, item.row})) + ',';
        rows += csvField(item.entry->get(isAction ? Keys::Path : Keys::Name).toString()) + ',';
        rows += csvField(item.entry->get(isAction ? Keys::NewValue : Keys::Value)) + ',';
        rows += isAction ? csvField(item.entry->get(Keys::OldValue)) : std::string();
        rows += '\n';
        return true;
    }
    double getDone() const override { return m_walk.getDone(); }
    QString getLosses() const override { return describeLosses(m_walk.getLosses()); }

private:
    /// Index and second of the period that follows; empty fields behind the last one.
    std::string describePlace(const QString &uuid) const
    {
        const auto place = m_places.find(uuid);
        if (place == m_places.end())
            return ",";
        const auto element = m_loader->getChannelTimeNavigation(place->second.first)->find(place->second.second);
        return element ? toText(element->globalIndex) + ',' + toText(element->startingSecond) : ",";
    }

    const std::shared_ptr<PdReplayFileLoader> m_loader;
    ReplayWalk m_walk;
    std::map<QString, std::pair<int, quint64>> m_places; // channel and element that follows, by uuid
};

} // namespace

RecordingTable::~RecordingTable() = default;

std::unique_ptr<RecordingTable> RecordingTable::Make(Kind kind, const std::shared_ptr<PdReplayFileLoader> &loader,
                                                     const ReplaySelection &selection)
{
    switch (kind) {
    case Kind::Pulses:
        return std::make_unique<PulseTable>(loader, selection);
    case Kind::Scopes:
        return std::make_unique<ScopeTable>(loader, selection);
    case Kind::Actions:
        break;
    }
    return std::make_unique<ActionTable>(loader, selection);
}

} // namespace NoxHost
