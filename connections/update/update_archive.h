#pragma once

#include "nox_export.h"

#include <QString>

#include <functional>

namespace CommonNOX::Devices
{

/// What an archive may unpack to.
struct UpdateArchiveLimits
{
    qint64 bytes = 0;
    int entries = 0;
    /// Asked now and then; false ends the work as if the archive could not be read.
    std::function<bool()> goesOn = {};
};

/// Unpacks a ".zip" or ".tar.gz" (told by its content) into an existing folder: regular files, with their executable
/// bit, and folders. The reason as a clause when it cannot be read to its end, or holds anything else: links, devices,
/// absolute paths, ".."; what was unpacked until then stays there. Empty when all is well.
NOX_EXPORT QString UnpackUpdateArchive(const QString &archive, const QString &folder,
                                       const UpdateArchiveLimits &limits);

} // namespace CommonNOX::Devices
