#pragma once

#include "framework_export.h"

#include <QLoggingCategory>

namespace Shared
{

/// The category of the platform's own log lines, "FrameworkCommon".
FRAMEWORK_EXPORT const QLoggingCategory &frameworkLog();

} // namespace Shared
