#pragma once

#include "connections/devices/pd_device.h"
#include "nox_export.h"
#include "platform/call_back_list.h"

#include <QObject>
#include <QStringList>
#include <QTimer>
#include <QVariant>

#include <memory>
#include <mutex>

namespace CommonNOX::Tasks
{

/// Follows the list of connected devices and shows a layout element of kind "pd_device" for each.
///
/// The list is the context's property "devices", the paths of the devices' contexts.
class NOX_EXPORT PDDeviceMonitoringTask : public QObject
{
    Q_OBJECT
public:
    explicit PDDeviceMonitoringTask(const Devices::ReaderConstPtr &context, QObject *parent = nullptr);
    ~PDDeviceMonitoringTask() override;

    /// Takes a new list. Any thread.
    void onDevicesChanged(const QString &key, const QVariant &value);

private:
    void setDevices(const QVariant &value);

    std::mutex m_mutex;
    QStringList m_devices;
    Shared::Subscription m_subscription;
};

/// Shows a layout element of kind "pd_pattern" for a channel while its property "pattern_visible" is true.
class NOX_EXPORT PDChannelPatternMonitoringTask : public QObject
{
    Q_OBJECT
public:
    PDChannelPatternMonitoringTask(const std::shared_ptr<Devices::PdDevice> &device, int channel,
                                   QObject *parent = nullptr);
    ~PDChannelPatternMonitoringTask() override;

    /// Takes a new value of the property. Any thread.
    void monitorPatternProperty(const QString &key, const QVariant &value);

private:
    void setVisible(bool visible);

    const QString m_contextPath;
    std::mutex m_mutex;
    bool m_visible = false;
    Shared::Subscription m_subscription;
};

/// Reads the device's temperature and publishes it as the context's property "temperature" (double, degrees
/// Celsius). Lives on a thread with an event loop. While the device does not tell, the property stays as it is.
class NOX_EXPORT DeviceTemperatureMonitoringTask : public QObject
{
    Q_OBJECT
public:
    /// A housing warms up slowly.
    static constexpr int DefaultIntervalMs = 5000;

    explicit DeviceTemperatureMonitoringTask(const std::shared_ptr<Devices::PdDevice> &device,
                                             int intervalMs = DefaultIntervalMs, QObject *parent = nullptr);

    void onRefreshTemperature();
    bool readTemperature(double &temperature) const;

private:
    std::shared_ptr<Devices::PdDevice> m_device;
    QTimer m_timer;
};

/// Reads the levels of the device's general-purpose lines and publishes them as the context's property "gpio"
/// (unsigned, line 0 in the lowest bit), as DeviceTemperatureMonitoringTask does.
class NOX_EXPORT DeviceGPIOMonitoringTask : public QObject
{
    Q_OBJECT
public:
    /// Interlocks and foot switches: a person expects to see them at once.
    static constexpr int DefaultIntervalMs = 500;

    explicit DeviceGPIOMonitoringTask(const std::shared_ptr<Devices::PdDevice> &device,
                                      int intervalMs = DefaultIntervalMs, QObject *parent = nullptr);

    void onRefreshGPIO();

private:
    std::shared_ptr<Devices::PdDevice> m_device;
    QTimer m_timer;
};

} // namespace CommonNOX::Tasks
