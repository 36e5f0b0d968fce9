#pragma once

#include <QVariant>

class QDataStream;

namespace CommonNOX
{

class WireCursor;

/// Decodes a variant whose bytes `WireCursor::skipVariant` accepts, and moves behind it. `format` tells byte order,
/// precision and version. What most entries are made of is decoded in place, anything else by Qt from its own slice.
QVariant ReadVariant(WireCursor &cursor, const QDataStream &format);

} // namespace CommonNOX
