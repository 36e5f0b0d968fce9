#pragma once

#include <QLoggingCategory>

namespace NoxHost
{

/// The host's log category, "NoxHost".
const QLoggingCategory &hostLog();

} // namespace NoxHost
