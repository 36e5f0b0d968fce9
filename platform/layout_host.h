#pragma once

#include "framework_export.h"

#include <QString>

#include <memory>

namespace Shared::Layout
{

/// How a layout arranges its elements.
enum class Orientation { Horizontal, Vertical };

/// Adds elements to and takes them from the application's screens. The user-interface layer installs one; any
/// thread may call it, so an implementation posts to the GUI thread.
class FRAMEWORK_EXPORT LayoutHostInterface
{
public:
    virtual ~LayoutHostInterface();
    /// `kind` names the sort of element ("pd_pattern", say), `contextPath` the context that it shows.
    virtual void addElement(const QString &kind, const QString &contextPath, Orientation orientation) = 0;
    virtual void removeElement(const QString &kind, const QString &contextPath) = 0;
};

/// The installed host, or nothing in a program without a user interface.
FRAMEWORK_EXPORT std::shared_ptr<LayoutHostInterface> GetLayoutHost();
FRAMEWORK_EXPORT void InstallLayoutHost(const std::shared_ptr<LayoutHostInterface> &host);

} // namespace Shared::Layout
