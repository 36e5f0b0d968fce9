#pragma once

#include "framework_export.h"

#include <QJsonDocument>
#include <QVariant>

namespace Shared
{

/// The JSON document that a value holds: the document itself, an object or an array, a map, hash or list of values, or
/// a text that parses as JSON. A null document for anything else.
FRAMEWORK_EXPORT QJsonDocument ConvertVariantToJsonDocument(const QVariant &value);

} // namespace Shared
