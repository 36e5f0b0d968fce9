#pragma once

#include "connections/devices/device_request_response_provider.h"
#include "nox_export.h"
#include "platform/layout_host.h"

#include <QString>

#include <memory>

namespace CommonNOX::Devices::utils
{

/// The provider of the device at the path; empty when there is none.
NOX_EXPORT std::shared_ptr<DeviceRequestResponseProvider> GetDeviceRequestResponseProvider(const QString &devicePath);
NOX_EXPORT std::shared_ptr<DeviceRequestResponseProvider>
GetDeviceRequestResponseProvider(const DeviceRequestResponseProvider::ReaderConstPtr &reader,
                                 const QString &devicePath);
/// For elements of a layout, which know their orientation; it makes no difference to what is found.
NOX_EXPORT std::shared_ptr<DeviceRequestResponseProvider>
GetDeviceRequestResponseProvider(const DeviceRequestResponseProvider::ReaderConstPtr &reader,
                                 Shared::Layout::Orientation orientation, const QString &devicePath);

} // namespace CommonNOX::Devices::utils
