#include "benchmarks/paired.h"
#include "benchmarks/pulses.h"

#include "connections/devices/pd_device.h"
#include "host/evaluation/evaluation_session.h"
#include "host/protocol/messages.h"
#include "host/pulses/period_entry.h"
#include "platform/data_store.h"
#include "platform/visitors.h"

#include <benchmark/benchmark.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <chrono>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace Bench
{

using namespace NoxHost;

namespace
{

constexpr int PeaksOfBlock = 1000;

RawPeriod makePeriod(quint64 index)
{
    RawPeriod period;
    period.index = index;
    period.startTicks = qint64(index) * PeriodTicks;
    period.endTicks = period.startTicks + PeriodTicks;
    period.sampleRate = 50 * PeriodTicks;
    period.pdCalibration = 0.01;
    period.peaks = MakePeaks(PeaksOfBlock);
    for (auto &peak : period.peaks)
        peak.time += period.startTicks;
    return period;
}

CommonNOX::Entries::Results::Space2D::PeakVector readLine(const QByteArray &line)
{
    PeriodBlock block;
    QString error;
    if (!readPeriodBlock(readMessage(line).object, block, error))
        throw std::runtime_error(error.toStdString());
    return block.periods.front().peaks;
}

CommonNOX::Entries::Results::Space2D::PeakVector readRows(const QByteArray &rows)
{
    const QJsonArray array = QJsonDocument::fromJson(rows).array();
    CommonNOX::Entries::Results::Space2D::PeakVector peaks;
    peaks.reserve(array.size());
    for (const QJsonValue &value : array) {
        const QJsonArray row = value.toArray();
        peaks.append({row.at(0).toInt(), row.at(1).toInt(), qint64(row.at(2).toDouble()), quint8(row.at(3).toInt())});
    }
    return peaks;
}

Contest lineAgainstRows()
{
    const RawPeriod period = makePeriod(0);
    QJsonArray rows;
    for (const auto &peak : period.peaks)
        rows.append(QJsonArray{peak.amplitude, peak.voltage, double(peak.time), peak.flags});
    const QByteArray text = QJsonDocument(rows).toJson(QJsonDocument::Compact);
    const QByteArray line = writePeriodBlock(period);
    if (readLine(line) != period.peaks || readRows(text) != period.peaks)
        throw std::runtime_error("the two give other peaks");
    return {{[line] { benchmark::DoNotOptimize(readLine(line)); }, PeaksOfBlock},
            {[text] { benchmark::DoNotOptimize(readRows(text)); }, PeaksOfBlock}};
}

Contest lineAgainstParsing()
{
    const QByteArray line = writePeriodBlock(makePeriod(0));
    return {{[line] { benchmark::DoNotOptimize(readLine(line)); }, PeaksOfBlock},
            {[line] { benchmark::DoNotOptimize(QJsonDocument::fromJson(line)); }, PeaksOfBlock}};
}

/// From the block that a device receives, fifty a second, to each of its results in the data store.
double medianLatencyMs()
{
    using Clock = std::chrono::steady_clock;
    constexpr int Periods = 100;
    EvaluationSettings settings;
    settings.evaluators = QStringList{QStringLiteral("qiec"), QStringLiteral("frequency")};
    const auto reader = Shared::GuiContexts::MakeReader(QString(), std::make_shared<Utilities::ConfigurationTree>());
    const auto device = std::make_shared<CommonNOX::Devices::PdDevice>(
        reader, QStringLiteral("latency"), QStringLiteral("latency"),
        QList{CommonNOX::Devices::Channels::ParseChannelInformationFromString(QString(), 0)});
    EvaluationSession session(settings);
    session.follow(device);

    std::mutex mutex;
    std::map<quint64, Clock::time_point> received;
    std::vector<double> latencies;
    const auto subscription = Utilities::GetAppDataStore()->observe(
        [&](const Utilities::DataEntryInterface &, quint64 index, const QVariant &) {
            const auto now = Clock::now();
            const std::lock_guard guard(mutex);
            const auto begin = received.find(index);
            if (begin != received.end())
                latencies.push_back(std::chrono::duration<double, std::milli>(now - begin->second).count());
        });
    for (quint64 index = 0; index < Periods; ++index) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        const auto block = makePeriodBlock(makePeriod(index));
        {
            const std::lock_guard guard(mutex);
            received[index] = Clock::now();
        }
        device->addPeriodBlock(0, index, block);
    }
    session.finish();
    const std::lock_guard guard(mutex);
    if (latencies.size() != 2 * Periods)
        throw std::runtime_error(std::to_string(latencies.size()) + " results instead of " +
                                 std::to_string(2 * Periods));
    const auto middle = latencies.begin() + std::ptrdiff_t(latencies.size() / 2);
    std::nth_element(latencies.begin(), middle, latencies.end());
    return *middle;
}

} // namespace

std::vector<Pair> ProtocolPairs()
{
    const auto atMost = [](double ratio) { return Limit{Limit::Kind::TimeAtMost, ratio}; };
    return {
        {"protocol: line of 1000 peaks to peaks / JSON rows", atMost(0.10), &lineAgainstRows},
        {"protocol: line of 1000 peaks to peaks / parsing the line alone", atMost(2.3), &lineAgainstParsing},
    };
}

std::vector<Figure> ProtocolFigures()
{
    return {{"live: median latency from block to result at 50 Hz, ms", 3.0, &medianLatencyMs}};
}

} // namespace Bench
