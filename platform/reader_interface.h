#pragma once

#include "framework_export.h"

#include <QString>

#include <memory>

namespace Utilities
{
class ConfigurationTree;
}

namespace Shared::GuiContexts
{

/// A context: a root path and the tree in which it lies.
class FRAMEWORK_EXPORT ReaderInterface
{
public:
    virtual ~ReaderInterface();

    /// Never empty.
    virtual std::shared_ptr<Utilities::ConfigurationTree> getTree() const = 0;
    /// An empty text is the root of the tree.
    virtual QString getRootPath() const = 0;
};

/// A reader of the given tree, or of the application's tree when none is given.
FRAMEWORK_EXPORT std::shared_ptr<const ReaderInterface>
MakeReader(const QString &rootPath, const std::shared_ptr<Utilities::ConfigurationTree> &tree = {});

} // namespace Shared::GuiContexts
