#pragma once

#include "nox_export.h"

#include <QString>

namespace CommonNOX
{

/// The name under which the data store keeps a device's results.
NOX_EXPORT QString GetDataEntryNameForDevice(const QString &deviceIdentification);
/// The name under which the data store keeps the results of one channel of a device.
NOX_EXPORT QString GetDataEntryNameForDeviceChannel(const QString &deviceIdentification, const QString &channel);

} // namespace CommonNOX
