#include "evaluation/tasks/monitoring_tasks.h"

#include "connections/devices/device_health_source.h"
#include "evaluation/context_keys.h"
#include "platform/layout_host.h"
#include "platform/visitors.h"

#include <cmath>
#include <utility>

namespace CommonNOX::Tasks
{

namespace ContextKeys = Evaluation::ContextKeys;
using Shared::Layout::Orientation;
using Utilities::GuiContextVisitor;

namespace
{

const QLatin1String DeviceElement("pd_device");
const QLatin1String PatternElement("pd_pattern");

void addElement(const QString &kind, const QString &contextPath, Orientation orientation)
{
    if (const auto host = Shared::Layout::GetLayoutHost())
        host->addElement(kind, contextPath, orientation);
}

void removeElement(const QString &kind, const QString &contextPath)
{
    if (const auto host = Shared::Layout::GetLayoutHost())
        host->removeElement(kind, contextPath);
}

} // namespace

PDDeviceMonitoringTask::PDDeviceMonitoringTask(const Devices::ReaderConstPtr &context, QObject *parent)
    : QObject(parent)
{
    const GuiContextVisitor visitor(context);
    m_subscription = visitor.subscribeProperty(
        ContextKeys::Devices, [this](const QString &key, const QVariant &value) { onDevicesChanged(key, value); });
    // Read under the lock, so that a change which was delivered already is not undone by an older value.
    const std::lock_guard guard(m_mutex);
    setDevices(visitor.getProperty(ContextKeys::Devices));
}

PDDeviceMonitoringTask::~PDDeviceMonitoringTask()
{
    m_subscription.reset();
    for (const QString &device : std::as_const(m_devices))
        removeElement(DeviceElement, device);
}

void PDDeviceMonitoringTask::onDevicesChanged(const QString &, const QVariant &value)
{
    const std::lock_guard guard(m_mutex);
    setDevices(value);
}

void PDDeviceMonitoringTask::setDevices(const QVariant &value)
{
    QStringList devices = value.toStringList();
    devices.removeDuplicates();
    for (const QString &device : std::as_const(m_devices)) {
        if (!devices.contains(device))
            removeElement(DeviceElement, device);
    }
    for (const QString &device : std::as_const(devices)) {
        if (!m_devices.contains(device))
            addElement(DeviceElement, device, Orientation::Vertical);
    }
    m_devices = devices;
}

PDChannelPatternMonitoringTask::PDChannelPatternMonitoringTask(const std::shared_ptr<Devices::PdDevice> &device,
                                                               int channel, QObject *parent)
    : QObject(parent), m_contextPath(device->getChannelContext(channel)->getRootPath())
{
    const GuiContextVisitor visitor(device->getChannelContext(channel));
    m_subscription =
        visitor.subscribeProperty(ContextKeys::PatternVisible, [this](const QString &key, const QVariant &value) {
            monitorPatternProperty(key, value);
        });
    const std::lock_guard guard(m_mutex);
    setVisible(visitor.getProperty(ContextKeys::PatternVisible).toBool());
}

PDChannelPatternMonitoringTask::~PDChannelPatternMonitoringTask()
{
    m_subscription.reset();
    monitorPatternProperty({}, false);
}

void PDChannelPatternMonitoringTask::monitorPatternProperty(const QString &, const QVariant &value)
{
    const std::lock_guard guard(m_mutex);
    setVisible(value.toBool());
}

void PDChannelPatternMonitoringTask::setVisible(bool visible)
{
    const bool wasVisible = std::exchange(m_visible, visible);
    if (m_visible && !wasVisible)
        addElement(PatternElement, m_contextPath, Orientation::Horizontal);
    else if (!m_visible && wasVisible)
        removeElement(PatternElement, m_contextPath);
}

DeviceTemperatureMonitoringTask::DeviceTemperatureMonitoringTask(const std::shared_ptr<Devices::PdDevice> &device,
                                                                 int intervalMs, QObject *parent)
    : QObject(parent), m_device(device)
{
    connect(&m_timer, &QTimer::timeout, this, &DeviceTemperatureMonitoringTask::onRefreshTemperature);
    m_timer.start(intervalMs);
}

void DeviceTemperatureMonitoringTask::onRefreshTemperature()
{
    double temperature = 0.0;
    if (readTemperature(temperature))
        GuiContextVisitor(m_device->getContext()).setProperty(ContextKeys::Temperature, temperature);
}

bool DeviceTemperatureMonitoringTask::readTemperature(double &temperature) const
{
    const auto source = m_device->getHealthSource();
    return source && source->readTemperature(temperature) && std::isfinite(temperature);
}

DeviceGPIOMonitoringTask::DeviceGPIOMonitoringTask(const std::shared_ptr<Devices::PdDevice> &device, int intervalMs,
                                                   QObject *parent)
    : QObject(parent), m_device(device)
{
    connect(&m_timer, &QTimer::timeout, this, &DeviceGPIOMonitoringTask::onRefreshGPIO);
    m_timer.start(intervalMs);
}

void DeviceGPIOMonitoringTask::onRefreshGPIO()
{
    quint32 levels = 0;
    const auto source = m_device->getHealthSource();
    if (source && source->readGpio(levels))
        GuiContextVisitor(m_device->getContext()).setProperty(ContextKeys::Gpio, levels);
}

} // namespace CommonNOX::Tasks
