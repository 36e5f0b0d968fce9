#pragma once

#include <QLoggingCategory>

namespace NoxHost
{

/// The host's log category, "NoxHost".
const QLoggingCategory &hostLog();

/// A text from elsewhere, fit for one log line: at most 80 characters, those that do not print as question marks.
QString printableText(const QString &text);

} // namespace NoxHost
