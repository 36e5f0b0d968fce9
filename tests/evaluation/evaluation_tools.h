#pragma once

#include "connections/devices/pd_device.h"
#include "entries/catalogue/results_pd.h"
#include "entries/measurement/peak.h"
#include "entries/measurement/period.h"
#include "entries/property_keys.h"
#include "evaluation/processors/single_channel_processor.h"
#include "platform/configuration_tree.h"
#include "platform/data_store.h"
#include "platform/visitors.h"

#include <chrono>
#include <condition_variable>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

/// What the tests of the evaluation share: waiting, raw data, and a processor that shows what reaches it.
namespace EvaluationTools
{

namespace Keys = CommonNOX::Entries::Keys;
namespace Space2D = CommonNOX::Entries::Results::Space2D;
using CommonNOX::GatingStatus;
using CommonNOX::Data::Period;

/// Waits until the condition holds; the bound is only reached by a fault.
template <class Condition>
bool waitUntil(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

/// A raw period of which a test changes what it is about; 20 ms by default.
struct PeriodSketch
{
    std::vector<int> amplitudes = {};
    std::vector<int> gated = {}; // further pulses, marked as lying in a gating window
    quint32 flags = 0;
    qint64 start = 0;
    qint64 end = 2000;
    quint32 rate = 100000;
    double pdCalibration = 0.0;

    template <class Entry = Space2D::PeriodV2>
    QVariant variant() const
    {
        Space2D::PeakVector peaks;
        for (const int amplitude : amplitudes)
            peaks.append({amplitude, 7, start + 500, 0});
        for (const int amplitude : gated)
            peaks.append({amplitude, 9, start + 1000, Space2D::PeakFlagGated});
        const auto result = std::make_shared<Entry>();
        result->set(Keys::StartTime, start);
        result->set(Keys::EndTime, end);
        result->set(Keys::SampleRate, rate);
        result->set(Keys::Flags, flags);
        result->set(Keys::PdCalibration, pdCalibration);
        result->set(Keys::Count, quint32(peaks.size()));
        result->set(Keys::Peaks, QVariant::fromValue(peaks));
        return QVariant::fromValue(std::shared_ptr<const Entry>(result));
    }

    std::shared_ptr<const Period> period(GatingStatus gating = GatingStatus::Off) const
    {
        const auto result = std::make_shared<Period>();
        result->preProcess(variant().value<std::shared_ptr<const Space2D::PeriodV2>>(), gating, false, 0.0, 360.0,
                           false);
        return result;
    }
};

inline std::shared_ptr<const Space2D::PeriodBlockV1> blockOf(const QVariantList &periods)
{
    const auto block = std::make_shared<Space2D::PeriodBlockV1>();
    block->set(Keys::Periods, periods);
    return block;
}

/// A block of `count` good periods without pulses.
inline std::shared_ptr<const Space2D::PeriodBlockV1> blockOf(int count)
{
    return blockOf(QVector<QVariant>(count, PeriodSketch().variant()).toList());
}

inline std::shared_ptr<const Space2D::VoltageScopeV1> scopeOf(const QVector<qint32> &samples, double calibration = 0.0)
{
    const auto scope = std::make_shared<Space2D::VoltageScopeV1>();
    scope->set(Keys::Samples, QVariant::fromValue(samples));
    scope->set(Keys::SampleRate, 5000u);
    scope->set(Keys::Calibration, calibration);
    return scope;
}

/// Waits until a channel's evaluator has evaluated all that it took.
template <class Evaluator>
bool waitUntilDone(const Evaluator &evaluator)
{
    return waitUntil([&] { return evaluator.getProgress().pending == 0; });
}

/// Shows the periods that reach it, and keeps its thread while it is closed.
class GateProcessor : public CommonNOX::Evaluation::Processors::AbstractSingleChannelProcessor
{
public:
    bool evaluate(const quint64 &index, const std::shared_ptr<const Period> &period) override
    {
        std::unique_lock lock(m_mutex);
        ++m_entered;
        m_changed.wait(lock, [this] { return m_open; });
        m_indices.push_back(index);
        m_periods.push_back(period);
        return false; // the result counts for nothing
    }
    bool resetProcessorState(const quint64 &) override
    {
        const std::lock_guard guard(m_mutex);
        ++m_resets;
        return true;
    }
    void setOpen(bool open)
    {
        const std::lock_guard guard(m_mutex);
        m_open = open;
        m_changed.notify_all();
    }
    bool waitUntilEntered(int times) const
    {
        return waitUntil([&] { return locked(m_entered) >= times; });
    }
    std::vector<quint64> indices() const { return locked(m_indices); }
    std::vector<std::shared_ptr<const Period>> periods() const { return locked(m_periods); }
    std::shared_ptr<const Period> last() const { return periods().back(); }
    int resets() const { return locked(m_resets); }

private:
    template <class Value>
    Value locked(const Value &value) const
    {
        const std::lock_guard guard(m_mutex);
        return value;
    }

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_open = true;
    int m_entered = 0;
    int m_resets = 0;
    std::vector<quint64> m_indices;
    std::vector<std::shared_ptr<const Period>> m_periods;
};

/// A data store and a tree of each test's own.
class EvaluationTest : public ::testing::Test
{
protected:
    EvaluationTest() { Utilities::InstallAppDataStore(store); }
    ~EvaluationTest() override { Utilities::InstallAppDataStore({}); }

    auto reader(const char *path) const { return Shared::GuiContexts::MakeReader(QLatin1String(path), tree); }

    std::shared_ptr<CommonNOX::Devices::PdDevice> device(int channels, bool defaultEnabled = false) const
    {
        using namespace CommonNOX::Hardware;
        QList<CommonNOX::Devices::Channels::ChannelInformation> list;
        for (int i = 0; i < channels; ++i)
            list.append({i, Coupling::Default, Function::Pd, SynchronisationSource::External, HardwareDestination(0, i),
                         QString(), MultiplexerType(), HardwareSourceConfiguration(), defaultEnabled});
        return std::make_shared<CommonNOX::Devices::PdDevice>(reader(""), QStringLiteral("devices/one"),
                                                              QStringLiteral("id"), list);
    }

    /// A property of the result that is held under the index; invalid when there is none.
    QVariant result(const QString &kind, const QString &name, quint64 index, const QString &key) const
    {
        const auto entry = store->findEntry(kind, name);
        const auto held = entry ? CommonNOX::DataEntryFromVariant(entry->getValue(index)) : nullptr;
        return held ? held->get(key) : QVariant();
    }

    const std::shared_ptr<Utilities::DataStore> store = std::make_shared<Utilities::DataStore>();
    const std::shared_ptr<Utilities::ConfigurationTree> tree = std::make_shared<Utilities::ConfigurationTree>();
};

} // namespace EvaluationTools
