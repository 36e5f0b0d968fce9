#pragma once

#include "nox_export.h"

#include <QString>
#include <QVariant>

#include <functional>
#include <memory>

namespace CommonNOX::Devices
{

class PdDevice;

/// What a device knows of its recorder, which belongs to a floor above.
class NOX_EXPORT DeviceRecorderInterface
{
public:
    virtual ~DeviceRecorderInterface();

    virtual bool isRecording() const = 0;
    /// Whether so much is on its way to the disk that a source which can wait should.
    virtual bool isFull() const = 0;
    /// Sets a named mark in the recording; channel -1 for the device.
    virtual void annotate(int channel, const QString &name, const QVariant &value) = 0;
};

/// Makes the recorder of a device, which outlives it; `folder` is where its files go.
using DeviceRecorderCreator =
    std::function<std::unique_ptr<DeviceRecorderInterface>(PdDevice &device, const QString &folder)>;

/// Installed by the floor that records, while the library loads.
NOX_EXPORT void InstallDeviceRecorderCreator(const DeviceRecorderCreator &creator);

} // namespace CommonNOX::Devices
