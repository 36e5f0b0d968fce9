#include "platform/layout_host.h"

#include <mutex>

namespace Shared::Layout
{

namespace
{

struct InstalledHost
{
    std::mutex mutex;
    std::shared_ptr<LayoutHostInterface> host;
};

InstalledHost &installedHost()
{
    static InstalledHost instance;
    return instance;
}

} // namespace

LayoutHostInterface::~LayoutHostInterface() = default;

std::shared_ptr<LayoutHostInterface> GetLayoutHost()
{
    const std::lock_guard guard(installedHost().mutex);
    return installedHost().host;
}

void InstallLayoutHost(const std::shared_ptr<LayoutHostInterface> &host)
{
    auto next = host;
    const std::lock_guard guard(installedHost().mutex);
    next.swap(installedHost().host);
}

} // namespace Shared::Layout
