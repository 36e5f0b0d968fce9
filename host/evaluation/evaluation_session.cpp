#include "host/evaluation/evaluation_session.h"

#include "entries/catalogue/results_pd.h"
#include "entries/entry_names.h"
#include "entries/measurement/evaluated_event.h"
#include "evaluation/context_keys.h"
#include "evaluation/evaluators/single_channel_evaluator.h"
#include "evaluation/processors/processors_factory.h"
#include "evaluation/tasks/processor_set.h"
#include "host/evaluation/reading_collector.h"
#include "host/pulses/period_entry.h"
#include "platform/configuration_tree.h"
#include "platform/data_store.h"
#include "platform/visitors.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <map>
#include <thread>

namespace NoxHost
{

using namespace CommonNOX::Evaluation;
using CommonNOX::Evaluation::Evaluators::EvaluationProgress;
using CommonNOX::Evaluation::Evaluators::SingleChannelEvaluator;
using CommonNOX::Tasks::SingleChannelProcessorSet;

namespace
{

const QString DeviceName = QStringLiteral("session");
constexpr std::chrono::microseconds Pause(200);
/// What a period takes besides its pulses: two entries, the period, its places in queues.
constexpr qint64 BytesOfPeriod = 6 * 1024;
constexpr qint64 BytesOfPulse =
    sizeof(CommonNOX::Entries::Results::Space2D::PeakData) + sizeof(CommonNOX::Data::EvaluatedEvent);

struct FedPeriod
{
    quint64 index;
    qint64 bytes;
};

} // namespace

struct EvaluationSession::Private
{
    /// One channel's evaluator and what it has been fed but is not done with.
    struct Channel
    {
        Channel(const std::shared_ptr<Utilities::ConfigurationTree> &tree, const QString &path, int index)
            : context(Shared::GuiContexts::MakeReader(path, tree)),
              processors(CommonNOX::Tasks::MakeSingleChannelProcessorSet(
                  Shared::GuiContexts::MakeReader(DeviceName, tree), context, DeviceName, unsigned(index)))
        {
            evaluator.setObjectName(QStringLiteral("channel %1").arg(index));
        }

        Processors::ReaderConstPtr context;
        SingleChannelProcessorSet processors;
        std::deque<FedPeriod> onTheirWay;
        SingleChannelEvaluator evaluator;
    };

    explicit Private(const EvaluationSettings &evaluationSettings) : settings(evaluationSettings) {}

    Channel &channelOf(int index)
    {
        auto &channel = channels[index];
        if (channel)
            return *channel;
        const QString path = tree->joinPath({DeviceName, QStringLiteral("channels"), QString::number(index)});
        channel = std::make_unique<Channel>(tree, path, index);
        collector.addChannel(CommonNOX::GetDataEntryNameForDeviceChannel(DeviceName, QString::number(index)), index);
        writeSettings(Utilities::GuiContextVisitor(channel->context));
        channel->processors.setNames(settings.evaluators);
        channel->evaluator.processorListChanged(channel->processors.getProcessors());
        channel->evaluator.setGatingStatus(settings.gating);
        channel->evaluator.setBuildingOptions(settings.building);
        channel->evaluator.enableEvaluation(true);
        return *channel;
    }

    void writeSettings(const Utilities::GuiContextVisitor &context) const
    {
        if (settings.tau1)
            context.setProperty(ContextKeys::QiecTau1, *settings.tau1);
        if (settings.tau2)
            context.setProperty(ContextKeys::QiecTau2, *settings.tau2);
        if (settings.initialQiec)
            context.setProperty(ContextKeys::InitialQiec, *settings.initialQiec);
    }

    /// Forgets what is done; the last period up to which every channel is done, if there is a limit.
    std::optional<quint64> settle()
    {
        std::optional<quint64> completed;
        periodsOnTheirWay = 0;
        bytesOnTheirWay = 0;
        for (auto &[index, channel] : channels) {
            const EvaluationProgress progress = channel->evaluator.getProgress();
            auto &waiting = channel->onTheirWay;
            while (!waiting.empty() &&
                   (progress.pending == 0 || qint64(waiting.front().index) <= progress.completedIndex))
                waiting.pop_front();
            if (!waiting.empty())
                completed = std::min(completed.value_or(waiting.front().index), waiting.front().index);
            periodsOnTheirWay += waiting.size();
            for (const FedPeriod &fed : waiting)
                bytesOnTheirWay += fed.bytes;
        }
        return completed;
    }

    bool isFull() const { return periodsOnTheirWay >= MaximumPeriods || bytesOnTheirWay >= MaximumBytes; }

    template <class Condition>
    static bool waitWhile(Condition condition, const std::function<bool()> &isInterrupted)
    {
        while (condition()) {
            if (isInterrupted && isInterrupted())
                return false;
            std::this_thread::sleep_for(Pause);
        }
        return true;
    }

    const EvaluationSettings settings;
    // Of this session alone: what a host measures besides must not mix with it.
    const std::shared_ptr<Utilities::ConfigurationTree> tree = std::make_shared<Utilities::ConfigurationTree>();
    ReadingCollector collector{Utilities::GetAppDataStore()};
    std::map<int, std::unique_ptr<Channel>> channels;
    std::map<std::pair<int, QString>, Reading> lastReadings;
    std::size_t periodsOnTheirWay = 0;
    qint64 bytesOnTheirWay = 0;
    quint64 lastIndex = 0;
    bool isFinished = false;
    std::optional<quint64> withdrawnFrom;
    quint64 periodCount = 0;
    quint64 pulseCount = 0;
};

EvaluationSession::EvaluationSession(const EvaluationSettings &settings) : d(std::make_unique<Private>(settings)) {}

EvaluationSession::~EvaluationSession()
{
    // All are told before the first is waited for.
    for (const auto &channel : d->channels)
        channel.second->evaluator.enableEvaluation(false);
    d->channels.clear();
}

QStringList EvaluationSession::findUnknownEvaluators(const EvaluationSettings &settings)
{
    const Processors::SingleChannelProcessorFactory &factory = Processors::ProcessorsFactory::getInstance();
    QStringList unknown;
    for (const QString &name : settings.evaluators) {
        if (!factory.isProductRegistered(name))
            unknown.append(name);
    }
    return unknown;
}

bool EvaluationSession::addPeriod(const RawPeriod &period, const std::function<bool()> &isInterrupted)
{
    const auto isFull = [this] {
        if (!d->isFull())
            return false;
        d->settle();
        return d->isFull();
    };
    if (!Private::waitWhile(isFull, isInterrupted))
        return false;
    Private::Channel &channel = d->channelOf(period.channel);
    const qint64 bytes = BytesOfPeriod + period.peaks.size() * BytesOfPulse;
    channel.onTheirWay.push_back({period.index, bytes});
    d->periodsOnTheirWay += 1;
    d->bytesOnTheirWay += bytes;
    d->lastIndex = period.index;
    d->isFinished = false;
    d->periodCount += 1;
    d->pulseCount += quint64(period.peaks.size());
    return channel.evaluator.addNewReceivedPeriod(period.index, makePeriodBlock(period));
}

std::vector<Reading> EvaluationSession::takeReadings()
{
    const std::optional<quint64> firstOpen = d->settle();
    // More channels may still bring the latest period, until the end is known.
    if (!d->isFinished && d->lastIndex == 0)
        return {};
    quint64 complete = d->isFinished ? d->lastIndex : d->lastIndex - 1;
    if (firstOpen) {
        if (*firstOpen == 0)
            return {};
        complete = std::min(complete, *firstOpen - 1);
    }
    if (d->withdrawnFrom) {
        if (*d->withdrawnFrom == 0)
            return {};
        complete = std::min(complete, *d->withdrawnFrom - 1);
    }
    std::vector<Reading> readings = d->collector.takeUpTo(complete);
    for (const Reading &reading : readings)
        d->lastReadings[{reading.channel, reading.processor}] = reading;
    return readings;
}

void EvaluationSession::withdrawFrom(quint64 index)
{
    d->withdrawnFrom = index;
}

bool EvaluationSession::finish(const std::function<bool()> &isInterrupted)
{
    const bool done = Private::waitWhile([this] { return d->settle().has_value(); }, isInterrupted);
    d->isFinished = done;
    return done;
}

quint64 EvaluationSession::getPeriodCount() const
{
    return d->periodCount;
}

quint64 EvaluationSession::getPulseCount() const
{
    return d->pulseCount;
}

quint64 EvaluationSession::getDroppedCount() const
{
    quint64 dropped = 0;
    for (const auto &channel : d->channels)
        dropped += channel.second->evaluator.getProgress().dropped;
    return dropped;
}

std::size_t EvaluationSession::getPeriodsOnTheirWay() const
{
    return d->periodsOnTheirWay;
}

std::vector<Reading> EvaluationSession::getLastReadings() const
{
    std::vector<Reading> readings;
    for (const auto &reading : d->lastReadings)
        readings.push_back(reading.second);
    return readings;
}

} // namespace NoxHost
