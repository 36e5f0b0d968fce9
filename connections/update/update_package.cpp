#include "connections/update/update_package.h"

#include "connections/update/update_archive.h"
#include "entries/log.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

namespace CommonNOX::Devices
{

struct UpdatePackage::Private
{
    QString name;
    std::unique_ptr<QTemporaryDir> unpacked; // only of an archive
    QString root;                            // canonical
    DeviceUpdateManifest manifest;
    QByteArray manifestDigest;
};

namespace
{

bool isInside(const QString &canonicalPath, const QString &root)
{
    return canonicalPath.startsWith(root.endsWith(QLatin1Char('/')) ? root : root + QLatin1Char('/'));
}

/// A faulty manifest is logged where it is parsed; this line tells which one it was.
std::optional<DeviceUpdateManifest> readManifest(const QString &path, QByteArray &digest, QString &error)
{
    QFile file(path);
    std::optional<DeviceUpdateManifest> manifest;
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) {
        error = QStringLiteral("it has no manifest.json that can be read at its top");
    } else {
        const QByteArray json = file.read(DeviceUpdateManifest::MaximumSize + 1);
        digest = QCryptographicHash::hash(json, QCryptographicHash::Sha256).toHex();
        manifest = DeviceUpdateManifest::ParseFromJson(json, &error);
    }
    if (!manifest)
        qCInfo(libraryLog).noquote().nospace()
            << "DeviceUpdateWorker::checkForUpdate() could not parse the update manifest at path " << path;
    return manifest;
}

} // namespace

UpdatePackage::UpdatePackage() : d(std::make_unique<Private>()) {}
UpdatePackage::~UpdatePackage() = default;

std::shared_ptr<const UpdatePackage> UpdatePackage::Open(const QString &path, QString &error,
                                                         const std::function<bool()> &goesOn)
{
    const std::shared_ptr<UpdatePackage> package(new UpdatePackage);
    const QFileInfo info(path);
    package->d->name = QFileInfo(QDir::cleanPath(path)).fileName();
    error.clear();
    if (!info.exists()) {
        error = QStringLiteral("the package %1 does not exist").arg(path);
    } else if (info.isDir()) {
        package->d->root = info.canonicalFilePath();
    } else {
        package->d->unpacked = std::make_unique<QTemporaryDir>();
        if (!package->d->unpacked->isValid())
            error =
                QStringLiteral("there is no room to unpack the package: %1").arg(package->d->unpacked->errorString());
        else
            error =
                UnpackUpdateArchive(path, package->d->unpacked->path(), {MaximumUnpackedBytes, MaximumFiles, goesOn});
        package->d->root = QFileInfo(package->d->unpacked->path()).canonicalFilePath();
        if (!error.isEmpty())
            error = QStringLiteral("the package %1 cannot be unpacked: %2").arg(path, error);
    }
    if (!error.isEmpty())
        return {};
    const QString manifestPath = QFileInfo(package->d->root + QStringLiteral("/manifest.json")).canonicalFilePath();
    const bool isThere = !manifestPath.isEmpty() && isInside(manifestPath, package->d->root);
    auto manifest = readManifest(isThere ? manifestPath : QString(), package->d->manifestDigest, error);
    if (!manifest) {
        error = QStringLiteral("the package %1 is none: %2").arg(path, error);
        return {};
    }
    package->d->manifest = *manifest;
    return package;
}

QString UpdatePackage::getName() const
{
    return d->name;
}

const DeviceUpdateManifest &UpdatePackage::getManifest() const
{
    return d->manifest;
}

QString UpdatePackage::getManifestDigest() const
{
    return QString::fromLatin1(d->manifestDigest);
}

QString UpdatePackage::resolve(const QString &source, QString &error) const
{
    const QString cleaned = QDir::cleanPath(source);
    const bool leadsOut =
        QDir::isAbsolutePath(source) || cleaned == QLatin1String("..") || cleaned.startsWith(QLatin1String("../"));
    const QFileInfo info(d->root + QLatin1Char('/') + cleaned);
    const QString canonical = leadsOut ? QString() : info.canonicalFilePath();
    if (leadsOut || (!canonical.isEmpty() && !isInside(canonical, d->root)))
        error = QStringLiteral("the source %1 lies outside the package").arg(source);
    else if (canonical.isEmpty())
        error = QStringLiteral("the source %1 is missing in the package").arg(source);
    else if (!info.isFile())
        error = QStringLiteral("the source %1 is no file").arg(source);
    else if (!info.isReadable())
        error = QStringLiteral("the source %1 cannot be read").arg(source);
    else
        return canonical;
    return {};
}

} // namespace CommonNOX::Devices
