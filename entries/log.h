#pragma once

#include "nox_export.h"

#include <QLoggingCategory>

namespace CommonNOX
{

/// The library's log category, "CommonNOX".
NOX_EXPORT const QLoggingCategory &libraryLog();

} // namespace CommonNOX
