#include "connections/devices/device_request_response_utils.h"

#include "connections/connection_paths.h"

namespace CommonNOX::Devices::utils
{

namespace Paths = Connections::Paths;

std::shared_ptr<DeviceRequestResponseProvider> GetDeviceRequestResponseProvider(const QString &devicePath)
{
    return GetDeviceRequestResponseProvider(nullptr, devicePath);
}

std::shared_ptr<DeviceRequestResponseProvider>
GetDeviceRequestResponseProvider(const DeviceRequestResponseProvider::ReaderConstPtr &reader, const QString &devicePath)
{
    const auto tree = Utilities::GuiContextVisitor(reader).getConfigurationTree();
    return tree->read(tree->joinPath({devicePath, Paths::RequestResponseProvider}))
        .value<std::shared_ptr<DeviceRequestResponseProvider>>();
}

std::shared_ptr<DeviceRequestResponseProvider>
GetDeviceRequestResponseProvider(const DeviceRequestResponseProvider::ReaderConstPtr &reader,
                                 Shared::Layout::Orientation, const QString &devicePath)
{
    return GetDeviceRequestResponseProvider(reader, devicePath);
}

} // namespace CommonNOX::Devices::utils
