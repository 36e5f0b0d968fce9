#pragma once

#include <QtGlobal>

namespace CommonNOX::Devices
{

/// Where a device's own state is read from. Implemented by whoever drives the device; any thread may call it.
class DeviceHealthSource
{
public:
    virtual ~DeviceHealthSource() = default;
    /// Degrees Celsius. False when the device does not tell.
    virtual bool readTemperature(double &temperature) = 0;
    /// The levels of the general-purpose lines, line 0 in the lowest bit. False when the device does not tell.
    virtual bool readGpio(quint32 &levels) = 0;
};

} // namespace CommonNOX::Devices
