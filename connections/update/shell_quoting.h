#pragma once

#include "nox_export.h"

#include <QByteArray>
#include <QString>

namespace CommonNOX::Connections
{

/// A path as one word of a POSIX shell's command line, in UTF-8, of which the shell interprets nothing. A leading dash
/// is hidden behind "./", as not every program on a device knows "--". Every path that goes into a remote command goes
/// through here. A text that cannot be a path (empty, or with a NUL) gives an empty result.
NOX_EXPORT QByteArray QuotePathForShell(const QString &path);

} // namespace CommonNOX::Connections
