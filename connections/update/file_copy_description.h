#pragma once

#include <QString>

namespace CommonNOX::Connections
{

/// One file and where it goes.
struct FileCopyDescription
{
    QString source;
    /// A folder, or a path that ends with "/", takes the file under its own name. On the device, a path that does not
    /// start with "/" counts from the user's home folder.
    QString destination;
    bool prepare = false; ///< belongs to the preparation of an update
};

} // namespace CommonNOX::Connections
