#include "connections/update/device_update_manifest.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace CommonNOX::Devices;
using Manifest = DeviceUpdateManifest;

namespace
{

// A failed property must stop the fuzzer in every build type.
void require(bool holds)
{
    if (!holds)
        std::abort();
}

} // namespace

// Qt 5.15 loses the first of two objects that have the same key, which is not for us to find again and again.
extern "C" const char *__asan_default_options()
{
    return "detect_leaks=0";
}

// What is no manifest has a reason, and a manifest holds nothing that later code does not expect.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray json(reinterpret_cast<const char *>(data), static_cast<int>(size));
    QString error;
    const auto manifest = Manifest::ParseFromJson(json, &error);
    require(manifest.has_value() == error.isEmpty());
    if (!manifest)
        return 0;

    DeviceUpdateContext context;
    context.acceptsDummies = true;
    for (const QString &path : manifest->getVersionPaths()) {
        require(!path.isEmpty() && !path.contains(QChar(0)));
        context.versions.insert(path, QString::fromUtf8(json.left(64)));
    }
    require(!manifest->getPrimaryPath().isEmpty());
    for (const auto &copy : manifest->getCopyFileDescriptions())
        require(!copy.source.isEmpty() && !copy.destination.isEmpty());

    bool holdAll = true;
    for (const Manifest::ConditionResult &result : manifest->examine(context)) {
        require(!result.reason.isEmpty());
        holdAll = holdAll && result.holds;
    }
    QString reason;
    require(manifest->checkForUpdateWithContext(context, &reason) == holdAll && reason.isEmpty() == holdAll);
    return 0;
}
