#pragma once

#include "nox_export.h"

#include <QString>

namespace CommonNOX
{

/// Whether the whole text matches the pattern, case-sensitively.
///
/// `*` stands for any run of characters, `/` and line ends included; `?` for one character; `[abc]`, `[a-z]`,
/// `[!a]` and `[^a]` for one of a set, where `]` as the first member is itself. A `[` that is never closed is itself.
/// The time is proportional to the length of the text for any pattern: no backtracking.
NOX_EXPORT bool MatchesWildcard(const QString &pattern, const QString &text);

} // namespace CommonNOX
