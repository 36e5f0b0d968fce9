#pragma once

#include "nox_export.h"

#include <QColor>
#include <QString>
#include <QStringList>

#include <array>
#include <optional>

namespace CommonNOX::Data
{

/// The colours of a pattern's counts, from few to many. Stored as an integer, so values never change meaning.
enum class PatternPalette {
    Viridis = 0, ///< perceptually uniform: equal steps look equal, also in grey and to the colour-blind
    Rainbow = 1, ///< blue over green to red
    Greys = 2,   ///< light to black
};

using PaletteColors = std::array<QRgb, 256>;

NOX_EXPORT const PaletteColors &GetPaletteColors(PatternPalette palette);
/// "viridis", "rainbow", "greys", in the order of the values.
NOX_EXPORT const QStringList &GetPaletteNames();
/// Nothing for a name that is none of them.
NOX_EXPORT std::optional<PatternPalette> FindPalette(const QString &name);

/// The place in a palette of a count from 1 to `largest`: logarithmic, since a few cells hold most of the pulses.
NOX_EXPORT int GetPaletteIndex(double count, double largest);

} // namespace CommonNOX::Data
