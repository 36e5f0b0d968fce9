#pragma once

#include <QImage>
#include <QString>

namespace CommonNOX::Data
{
class Pattern;
}

namespace NoxHost
{

/// What stands around a pattern.
struct PatternPlotTexts
{
    QString title;
    QString footer;
    QString chargeUnit; ///< of the pattern's charges: "pC", "mV" or "p.u."
};

/// Draws a pattern for a report: axes in degrees and in charge, a sine that shows the phase of the test voltage, a
/// colour bar with counts, title and footer. At least 1200 x 800 pixels, and a pixel or more for each cell as long as
/// the image stays below 6000 x 6000. Null without an applied geometry. Needs a QApplication, on the platform
/// "offscreen" or any other, and its thread.
QImage drawPatternPlot(const CommonNOX::Data::Pattern &pattern, const PatternPlotTexts &texts);

} // namespace NoxHost
