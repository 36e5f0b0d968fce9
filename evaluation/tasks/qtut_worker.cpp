#include "evaluation/tasks/qtut_worker.h"

#include "entries/catalogue/results_pd.h"
#include "entries/entry_names.h"
#include "entries/property_keys.h"
#include "evaluation/processors/processor_names.h"
#include "platform/data_store.h"

#include <QDateTime>

#include <algorithm>
#include <chrono>

namespace CommonNOX::Tasks
{

namespace Keys = Entries::Keys;
namespace Names = Evaluation::Processors::Names;
using Entries::Results::Space2D::QtUtDataV1;

namespace
{

constexpr int SmallestIntervalMs = 10;
const QLatin1String OverviewKind("qt_ut");

/// The latest value of a property of a result, invalid while there is none.
QVariant latest(const QString &kind, const QString &name, const QString &property)
{
    quint64 index = 0;
    QVariant value;
    const auto entry = Utilities::GetAppDataStore()->findEntry(kind, name);
    if (!entry || !entry->getLastValue(index, value))
        return {};
    const auto result = DataEntryFromVariant(value);
    return result ? result->get(property) : QVariant();
}

} // namespace

QtUtWorker::QtUtWorker(const QString &deviceIdentification, int channel, int intervalMs)
    : m_deviceName(GetDataEntryNameForDevice(deviceIdentification)),
      m_channelName(GetDataEntryNameForDeviceChannel(deviceIdentification, QString::number(channel))),
      m_intervalMs(std::max(intervalMs, SmallestIntervalMs))
{
    setObjectName(QStringLiteral("ch%1 qt_ut").arg(channel));
    start();
}

QtUtWorker::~QtUtWorker()
{
    {
        const std::lock_guard guard(m_mutex);
        m_stop = true;
    }
    m_wake.notify_all();
    wait();
    // What the thread did is seen after this: its last act was to release this flag.
    m_left.load(std::memory_order_acquire);
}

void QtUtWorker::run()
{
    while (waitForNext())
        writeOverviewElement();
    m_left.store(true, std::memory_order_release);
}

bool QtUtWorker::waitForNext()
{
    std::unique_lock lock(m_mutex);
    return !m_wake.wait_for(lock, std::chrono::milliseconds(m_intervalMs), [this] { return m_stop; });
}

void QtUtWorker::writeOverviewElement() const
{
    const QVariant voltage = latest(Names::Voltage, m_deviceName, Keys::Rms);
    const QVariant qiec = latest(Names::Qiec, m_channelName, Keys::Value);
    if (!voltage.isValid() || !qiec.isValid())
        return;
    const auto element = std::make_shared<QtUtDataV1>();
    element->set(Keys::Voltage, voltage);
    element->set(Keys::Qiec, qiec);
    element->set(Keys::Timestamp, QDateTime::currentDateTimeUtc());
    element->set(Keys::SampleRate, quint32(std::max(1, 1000 / m_intervalMs)));
    const auto entry = Utilities::GetAppDataStore()->createEntry(OverviewKind, m_channelName);
    // Behind what an earlier worker has left: the entry keeps its highest indices.
    quint64 last = 0;
    QVariant value;
    const quint64 index = entry->getLastValue(last, value) ? last + 1 : 0;
    entry->setValue(index, QVariant::fromValue(std::shared_ptr<const QtUtDataV1>(element)));
}

} // namespace CommonNOX::Tasks
