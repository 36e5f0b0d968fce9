#pragma once

#include <QImage>
#include <QString>

#include <vector>

namespace NoxHost
{

/// Draws a shot for a report, 1200 x 800 pixels: the raw series in grey, the cleaned one, unless it is empty, over it,
/// by index. Where a pixel column stands for many samples it shows their whole range. Needs a QGuiApplication.
QImage drawShotPlot(const std::vector<double> &raw, const std::vector<double> &cleaned, const QString &title);

} // namespace NoxHost
