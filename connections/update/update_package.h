#pragma once

#include "connections/update/device_update_manifest.h"
#include "nox_export.h"

#include <QString>

#include <functional>
#include <memory>

namespace CommonNOX::Devices
{

/// An update package on this computer: a folder, a ".zip" or a ".tar.gz", with "manifest.json" at its top.
///
/// An archive is unpacked into a temporary folder that lasts as long as the package. Immutable; any thread.
class NOX_EXPORT UpdatePackage
{
public:
    static constexpr qint64 MaximumUnpackedBytes = Q_INT64_C(4) * 1024 * 1024 * 1024;
    static constexpr int MaximumFiles = 100'000;

    /// Empty, with one sentence in @p error, when it cannot be read, unpacks to more than the limits, holds a link or a
    /// path that leads out of it (archives), or its manifest is none. An unreadable manifest is logged.
    /// `goesOn` is asked while an archive is unpacked; false makes it fail.
    static std::shared_ptr<const UpdatePackage> Open(const QString &path, QString &error,
                                                     const std::function<bool()> &goesOn = {});
    ~UpdatePackage();

    /// The last component of the path it was opened with.
    QString getName() const;
    const DeviceUpdateManifest &getManifest() const;
    /// SHA-256 of the manifest as it stands in the package, in hexadecimal.
    QString getManifestDigest() const;

    /// The file of a manifest's source. Empty, with one sentence in @p error, unless it is a regular, readable file
    /// inside the package; links that lead out of it are followed to their end to find out.
    QString resolve(const QString &source, QString &error) const;

private:
    UpdatePackage();

    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace CommonNOX::Devices
