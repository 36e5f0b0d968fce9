#pragma once

#include "connections/devices/pd_device.h"
#include "recording/recorder/recording_command.h"
#include "recording/recorder/recording_subject.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <variant>
#include <vector>

namespace CommonNOX::PD::Recording
{

/// What goes from the device's thread to the recorder's, in order.
namespace Work
{
struct Start
{
    RecordingCommand command;
    RecordingSubject subject;
};
struct Stop
{
    std::function<void()> done; ///< called when everything before it is stored
};
struct Block
{
    int channel;
    quint64 index;
    Devices::PdDevice::PeriodBlockPtr block;
};
struct Scope
{
    quint64 firstPeriod;
    Devices::PdDevice::VoltageScopePtr scope;
};
struct Change
{
    RecordedSetting setting;
    QVariant oldValue;
};
struct Annotation
{
    int channel;
    QString name;
    QVariant value;
};
/// That discharge is on, or off, from a period on.
struct Decision
{
    int channel;
    quint64 index;
    QString name;
    double voltage;
};
} // namespace Work

using WorkItem =
    std::variant<Work::Start, Work::Stop, Work::Block, Work::Scope, Work::Change, Work::Annotation, Work::Decision>;

/// A reading of Qiec, from the thread that made it.
struct QiecReading
{
    int channel;
    quint64 index;
    double value;
};

/// The queues between the threads; emptied by swapping. Any thread.
class RecorderQueue
{
public:
    /// True when the other side must be woken.
    bool add(WorkItem item, qint64 bytes)
    {
        const std::lock_guard guard(m_mutex);
        m_bytes += bytes;
        m_items.push_back({std::move(item), bytes});
        return m_items.size() == 1;
    }

    struct Item
    {
        WorkItem work;
        qint64 bytes;
    };
    std::vector<Item> take()
    {
        std::vector<Item> items;
        const std::lock_guard guard(m_mutex);
        items.swap(m_items);
        return items;
    }
    /// What was taken counts until its work is done.
    void release(qint64 bytes) { m_bytes -= bytes; }
    qint64 getBytes() const { return m_bytes; }

    void addReading(const QiecReading &reading)
    {
        const std::lock_guard guard(m_readingsMutex);
        m_readings.push_back(reading);
    }
    std::vector<QiecReading> takeReadings()
    {
        std::vector<QiecReading> readings;
        const std::lock_guard guard(m_readingsMutex);
        readings.swap(m_readings);
        return readings;
    }

private:
    std::mutex m_mutex;
    std::vector<Item> m_items;
    std::atomic<qint64> m_bytes = 0;
    std::mutex m_readingsMutex;
    std::vector<QiecReading> m_readings;
};

} // namespace CommonNOX::PD::Recording
