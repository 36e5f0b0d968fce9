#include "host/evaluation/evaluation_session.h"

#include "connections/devices/pd_device.h"
#include "entries/catalogue/results_pd.h"
#include "entries/entry_names.h"
#include "entries/measurement/evaluated_event.h"
#include "entries/property_keys.h"
#include "evaluation/evaluators/device_evaluator.h"
#include "evaluation/evaluators/single_channel_evaluator.h"
#include "evaluation/processors/processors_factory.h"
#include "evaluation/tasks/processor_set.h"
#include "host/evaluation/channel_evaluation.h"
#include "host/evaluation/reading_collector.h"
#include "host/pulses/period_entry.h"
#include "platform/configuration_tree.h"
#include "platform/data_store.h"
#include "platform/visitors.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <map>
#include <thread>

namespace NoxHost
{

using namespace CommonNOX::Evaluation;
using CommonNOX::Devices::PdDevice;
using CommonNOX::Evaluation::Evaluators::DeviceEvaluator;
using CommonNOX::Evaluation::Evaluators::EvaluationProgress;
using CommonNOX::Evaluation::Evaluators::SingleChannelEvaluator;
using CommonNOX::Tasks::SingleChannelProcessorSet;

namespace
{

/// Of its own for each session: sessions of one process share the data store.
QString makeDeviceName()
{
    static std::atomic<unsigned> count = 0;
    return QStringLiteral("session%1").arg(++count);
}

/// Tells who else looks for the device's results where they are.
const QString ResultsNameKey = QStringLiteral("results_name");
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
    /// One channel and what it has been fed but is not done with.
    struct Channel : ChannelEvaluation
    {
        using ChannelEvaluation::ChannelEvaluation;

        std::deque<FedPeriod> onTheirWay;
        std::optional<quint64> lastFed;
    };

    explicit Private(const EvaluationSettings &evaluationSettings) : settings(evaluationSettings) {}

    Channel &channelOf(int index)
    {
        auto &channel = channels[index];
        if (channel)
            return *channel;
        if (device) {
            channel =
                std::make_unique<Channel>(device->getContext(), device->getChannelContext(index), deviceName, index);
        } else {
            const QString path = tree->joinPath({deviceName, QStringLiteral("channels"), QString::number(index)});
            channel = std::make_unique<Channel>(Shared::GuiContexts::MakeReader(deviceName, tree),
                                                Shared::GuiContexts::MakeReader(path, tree), deviceName, index);
        }
        collector.addChannel(CommonNOX::GetDataEntryNameForDeviceChannel(deviceName, QString::number(index)), index);
        channel->start(settings);
        if (device)
            channel->followSettings([this] { waitForFed(); });
        return *channel;
    }

    /// Forgets what is done; the last period up to which every channel is done, if there is a limit.
    std::optional<quint64> settle()
    {
        std::optional<quint64> completed;
        periodsOnTheirWay = 0;
        bytesOnTheirWay = 0;
        for (auto &[index, channel] : channels) {
            const EvaluationProgress progress = channel->getEvaluator().getProgress();
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

    /// Queues the periods of a block. False when the evaluator refused it.
    bool feed(int index, quint64 first, const PdDevice::PeriodBlockPtr &block, const std::vector<qint64> &pulses,
              const PdDevice::TestVoltages &testVoltages)
    {
        Channel &channel = channelOf(index);
        for (std::size_t i = 0; i < pulses.size(); ++i) {
            const qint64 bytes = BytesOfPeriod + pulses[i] * BytesOfPulse;
            channel.onTheirWay.push_back({first + i, bytes});
            bytesOnTheirWay += bytes;
            pulseCount += quint64(pulses[i]);
        }
        periodsOnTheirWay += pulses.size();
        periodCount += pulses.size();
        lastIndex = first + pulses.size() - 1;
        channel.lastFed = lastIndex;
        isFinished = false;
        return channel.getEvaluator().addNewReceivedPeriod(first, block, testVoltages);
    }

    void takeBlock(int channel, quint64 first, const PdDevice::PeriodBlockPtr &block,
                   const PdDevice::TestVoltages &testVoltages)
    {
        std::vector<qint64> pulses;
        if (block) {
            const QVariantList periods = block->get(CommonNOX::Entries::Keys::Periods).toList();
            for (const QVariant &period : periods) {
                const auto entry = CommonNOX::DataEntryFromVariant(period);
                pulses.push_back(entry ? entry->get(CommonNOX::Entries::Keys::Count).toLongLong() : 0);
            }
        }
        if (!pulses.empty() && !feed(channel, first, block, pulses, testVoltages))
            refusedCount += pulses.size();
    }

    /// The last period that every channel has delivered, those that lag too far behind apart.
    std::optional<quint64> lastDelivered() const
    {
        quint64 newest = 0;
        for (const auto &[index, channel] : channels)
            newest = std::max(newest, channel->lastFed.value_or(0));
        std::optional<quint64> last;
        for (const auto &[index, channel] : channels) {
            if (!channel->lastFed && newest < MaximumLag)
                return std::nullopt;
            if (channel->lastFed && *channel->lastFed + MaximumLag >= newest)
                last = std::min(last.value_or(newest), *channel->lastFed);
        }
        return last;
    }

    /// The last period of which every reading can be given out, what is still evaluated apart.
    std::optional<quint64> lastFedWhole() const
    {
        if (isFinished)
            return lastIndex;
        if (device)
            return lastDelivered();
        // More channels may still bring the latest period.
        return lastIndex == 0 ? std::nullopt : std::optional(lastIndex - 1);
    }

    void makeDeviceEvaluator()
    {
        auto set = CommonNOX::Tasks::MakeDeviceProcessorSet(device->getContext(), deviceName);
        // What any of the channels names: a recording tells its evaluators by channel.
        QStringList names;
        for (const auto &channel : channels)
            names += channel.second->getWantedNames();
        names.removeDuplicates();
        set.setNames(names);
        if (set.getProcessors().isEmpty())
            return;
        collector.addChannel(CommonNOX::GetDataEntryNameForDevice(deviceName), -1);
        deviceProcessors = set.getNames();
        deviceEvaluator = std::make_unique<DeviceEvaluator>();
        deviceEvaluator->processorListChanged(set.getProcessors());
        deviceEvaluator->enableEvaluation(true);
    }

    bool areScopesDone() const
    {
        return !deviceEvaluator || deviceEvaluator->getDoneCount() == deviceEvaluator->getAcceptedCount();
    }

    void waitForFed()
    {
        waitWhile([this] { return settle().has_value() || !areScopesDone(); }, {});
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
    const QString deviceName = makeDeviceName();
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
    quint64 refusedCount = 0;
    std::shared_ptr<PdDevice> device;
    std::unique_ptr<DeviceEvaluator> deviceEvaluator;
    QStringList deviceProcessors;
    // Last, so that nothing is received any more when the rest goes.
    std::vector<Shared::Subscription> subscriptions;
};

EvaluationSession::EvaluationSession(const EvaluationSettings &settings) : d(std::make_unique<Private>(settings)) {}

EvaluationSession::~EvaluationSession()
{
    d->subscriptions.clear();
    // All are told before the first is waited for.
    for (const auto &channel : d->channels)
        channel.second->getEvaluator().enableEvaluation(false);
    d->channels.clear();
}

QStringList EvaluationSession::findUnknownEvaluators(const EvaluationSettings &settings, Source source)
{
    const Processors::SingleChannelProcessorFactory &ofChannels = Processors::ProcessorsFactory::getInstance();
    const Processors::DeviceProcessorFactory &ofDevices = Processors::ProcessorsFactory::getInstance();
    QStringList unknown;
    for (const QString &name : settings.evaluators) {
        if (!ofChannels.isProductRegistered(name) &&
            (source == Source::Periods || !ofDevices.isProductRegistered(name)))
            unknown.append(name);
    }
    return unknown;
}

bool EvaluationSession::addPeriod(const RawPeriod &period, const std::function<bool()> &isInterrupted)
{
    if (!Private::waitWhile([this] { return isFull(); }, isInterrupted))
        return false;
    return d->feed(period.channel, period.index, makePeriodBlock(period), {period.peaks.size()}, {period.testVoltage});
}

bool EvaluationSession::isFull()
{
    if (!d->isFull())
        return false;
    d->settle();
    return d->isFull();
}

void EvaluationSession::settle()
{
    d->waitForFed();
}

QStringList EvaluationSession::getEvaluators() const
{
    QStringList names;
    for (const auto &channel : d->channels)
        names += channel.second->getProcessorNames();
    if (d->channels.empty())
        names = d->settings.evaluators;
    else
        names += d->deviceProcessors;
    names.removeDuplicates();
    return names;
}

void EvaluationSession::follow(const std::shared_ptr<PdDevice> &device)
{
    d->device = device;
    Utilities::GuiContextVisitor(device->getContext()).setProperty(ResultsNameKey, d->deviceName);
    for (const auto &channel : device->getChannels())
        d->channelOf(channel.getChannelIndex());
    d->makeDeviceEvaluator();
    d->subscriptions.push_back(device->subscribePeriodBlocks(
        [this](int channel, quint64 index, const PdDevice::PeriodBlockPtr &block,
               const PdDevice::TestVoltages &testVoltages) { d->takeBlock(channel, index, block, testVoltages); }));
    d->subscriptions.push_back(device->subscribeVoltageScopes([this](const PdDevice::VoltageScopePtr &scope, quint64) {
        if (d->deviceEvaluator)
            d->deviceEvaluator->addNewReceivedVoltageScope(scope);
    }));
}

std::vector<Reading> EvaluationSession::takeReadings()
{
    const std::optional<quint64> firstOpen = d->settle();
    const std::optional<quint64> fed = d->lastFedWhole();
    if (!fed)
        return {};
    quint64 complete = *fed;
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
    const bool done =
        Private::waitWhile([this] { return d->settle().has_value() || !d->areScopesDone(); }, isInterrupted);
    d->isFinished = done;
    return done;
}

quint64 EvaluationSession::getRefusedCount() const
{
    return d->refusedCount;
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
        dropped += channel.second->getEvaluator().getProgress().dropped;
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
