#pragma once

#include "framework_export.h"

#include <QByteArray>

#include <optional>

namespace Shared
{

/// The first name that an object of the JSON text gives to two of its members, as it stands there; nothing when all
/// have names of their own. Of a text that is no JSON what stands before its first fault is looked at.
///
/// Qt 5.15 never frees what stood under a name that comes again, so that a peer could fill the memory with such lines.
FRAMEWORK_EXPORT std::optional<QByteArray> FindRepeatedJsonKey(const QByteArray &json);

} // namespace Shared
