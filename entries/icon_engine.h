#pragma once

#include "nox_export.h"

#include <QIcon>
#include <QString>

namespace CommonNOX
{

/// An icon that is only a resource path until it is painted.
///
/// It may be made, copied and streamed from any thread and without a GUI: it streams under the key of theme icons,
/// which carries the path and no pixels. Pixels are decoded on the GUI thread alone; elsewhere it paints nothing.
NOX_EXPORT QIcon MakeResourceIcon(const QString &path);

} // namespace CommonNOX
