#include "entries/entry_names.h"

namespace CommonNOX
{

QString GetDataEntryNameForDevice(const QString &deviceIdentification)
{
    return QStringLiteral("nox_device_%1").arg(deviceIdentification);
}

QString GetDataEntryNameForDeviceChannel(const QString &deviceIdentification, const QString &channel)
{
    // One call: an identification that contains "%2" is taken as it is.
    return QStringLiteral("nox_device_%1_channel_%2").arg(deviceIdentification, channel);
}

} // namespace CommonNOX
