#include "host/report/pattern_plot.h"

#include "entries/measurement/pattern.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <qwt_color_map.h>
#include <qwt_plot.h>
#include <qwt_plot_grid.h>
#include <qwt_plot_item.h>
#include <qwt_plot_renderer.h>
#include <qwt_scale_div.h>
#include <qwt_scale_draw.h>
#include <qwt_scale_engine.h>
#include <qwt_scale_map.h>
#include <qwt_scale_widget.h>
#include <qwt_text.h>

namespace NoxHost
{

using CommonNOX::Data::ChargeAxis;
using CommonNOX::Data::GetPaletteColors;
using CommonNOX::Data::GetPaletteIndex;
using CommonNOX::Data::Pattern;
using CommonNOX::Data::PatternPalette;

namespace
{

constexpr int LeastWidth = 1200;
constexpr int LeastHeight = 800;
constexpr int Largest = 6000;
constexpr int RoomAround = 300;
/// From here on the thousandfold unit reads better.
constexpr double LargestOfUnit = 1000.0;
constexpr int SinePoints = 361;
constexpr double Pi = 3.14159265358979323846;

/// The charge axis of the plot: a linear one over what the rows are linear in, the charge or its decades.
struct PlotAxis
{
    double bottom;
    double top;
};

PlotAxis plotAxisOf(const ChargeAxis &axis)
{
    return {(axis.halfRows - axis.rows) / axis.rowsPerUnit, axis.halfRows / axis.rowsPerUnit};
}

struct ShownUnit
{
    QString name;
    double factor = 1.0; ///< what a charge is multiplied by
};

ShownUnit shownUnit(const QString &unit, double largest)
{
    if (largest >= LargestOfUnit && unit == QLatin1String("pC"))
        return {QStringLiteral("nC"), 1e-3};
    if (largest >= LargestOfUnit && unit == QLatin1String("mV"))
        return {QStringLiteral("V"), 1e-3};
    return {unit, 1.0};
}

/// Labels places of the plot's axis with the charges that stand there.
class ChargeScaleDraw : public QwtScaleDraw
{
public:
    ChargeScaleDraw(const ChargeAxis &axis, double factor) : m_axis(axis), m_factor(factor) {}

    QwtText label(double place) const override
    {
        if (!m_axis.logarithmic)
            return QwtText(QLocale::c().toString(std::abs(place) < 1e-12 * m_factor ? 0.0 : place * m_factor, 'g', 6));
        const QString text = QLocale::c().toString(m_axis.unit * std::pow(10.0, std::abs(place)) * m_factor, 'g', 6);
        if (!m_axis.bipolar)
            return QwtText(text);
        // Charges up to the beginning of the axis share its middle, whatever their sign.
        const QString sign = place > 0.0 ? QStringLiteral("+") : QString(QChar(place < 0.0 ? 0x2212 : 0x00b1));
        return QwtText(sign + text);
    }

private:
    const ChargeAxis m_axis;
    const double m_factor;
};

QwtScaleDiv decades(const PlotAxis &axis)
{
    QList<double> major, minor;
    const auto add = [&](double place, QList<double> &ticks) {
        for (const double signedPlace : {place, -place}) {
            if (signedPlace >= axis.bottom && signedPlace <= axis.top && !ticks.contains(signedPlace))
                ticks.append(signedPlace);
        }
    };
    for (int decade = 0; decade <= std::ceil(axis.top); ++decade) {
        add(decade, major);
        for (int digit = 2; digit < 10; ++digit)
            add(decade + std::log10(digit), minor);
    }
    return QwtScaleDiv(axis.bottom, axis.top, minor, {}, major);
}

/// The counts, a rectangle a cell.
class CellsItem : public QwtPlotItem
{
public:
    CellsItem(const QImage &cells, const QRectF &place) : m_cells(cells), m_place(place) { setZ(0.0); }

    void draw(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap, const QRectF &) const override
    {
        const QPointF topLeft(xMap.transform(m_place.left()), yMap.transform(m_place.top()));
        const QPointF bottomRight(xMap.transform(m_place.right()), yMap.transform(m_place.bottom()));
        painter->drawImage(QRectF(topLeft, bottomRight), m_cells);
    }

private:
    const QImage m_cells;
    const QRectF m_place; // in the plot's coordinates; its top is the larger charge
};

/// The phase of the test voltage. (Qwt's own curves come with a header that C++20 refuses.)
class SineItem : public QwtPlotItem
{
public:
    SineItem(double degrees, const PlotAxis &axis) : m_degrees(degrees), m_axis(axis)
    {
        setZ(1.0);
        setRenderHint(QwtPlotItem::RenderAntialiased);
    }

    void draw(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap, const QRectF &) const override
    {
        const double middle = (m_axis.top + m_axis.bottom) / 2.0;
        const double height = 0.45 * (m_axis.top - m_axis.bottom);
        QPolygonF points;
        for (int i = 0; i < SinePoints; ++i) {
            const double degrees = m_degrees * i / (SinePoints - 1);
            points.append({xMap.transform(degrees), yMap.transform(middle + height * std::sin(degrees * Pi / 180.0))});
        }
        painter->setPen(QPen(QColor(120, 120, 120), 1.5));
        painter->drawPolyline(points);
    }

private:
    const double m_degrees;
    const PlotAxis m_axis;
};

/// The palette for the colour bar, as the cells are coloured.
class CountColorMap : public QwtColorMap
{
public:
    CountColorMap(PatternPalette palette, double largest) : m_palette(palette), m_largest(largest) {}

    QRgb rgb(const QwtInterval &, double count) const override
    {
        return GetPaletteColors(m_palette)[std::size_t(GetPaletteIndex(count, m_largest))];
    }
    uchar colorIndex(const QwtInterval &, double count) const override
    {
        return uchar(GetPaletteIndex(count, m_largest));
    }

private:
    const PatternPalette m_palette;
    const double m_largest;
};

void setUpColorBar(QwtPlot &plot, const Pattern &pattern)
{
    const auto &counts = pattern.getCounts();
    const double largest = std::max<double>(1.0, *std::max_element(counts.begin(), counts.end()));
    const double end = std::max(2.0, largest); // an interval needs two ends
    plot.enableAxis(QwtPlot::yRight);
    plot.setAxisScaleEngine(QwtPlot::yRight, new QwtLogScaleEngine);
    plot.setAxisScale(QwtPlot::yRight, 1.0, end);
    plot.setAxisTitle(QwtPlot::yRight, QStringLiteral("Pulses in a cell"));
    QwtScaleWidget *widget = plot.axisWidget(QwtPlot::yRight);
    widget->setColorBarEnabled(true);
    widget->setColorBarWidth(20);
    widget->setColorMap(QwtInterval(1.0, end), new CountColorMap(pattern.getPatternPalette(), largest));
}

void setUpAxes(QwtPlot &plot, const Pattern &pattern, const PlotAxis &axis, const QString &chargeUnit)
{
    const ShownUnit unit = shownUnit(chargeUnit, pattern.getLargestCharge());
    plot.setAxisTitle(QwtPlot::xBottom, QStringLiteral("Phase / %1").arg(QChar(0x00b0)));
    const double degrees = pattern.getPatternScaleX();
    plot.setAxisScale(QwtPlot::xBottom, 0.0, degrees, std::fmod(degrees, 90.0) == 0.0 ? degrees / 8.0 : 0.0);

    plot.setAxisTitle(QwtPlot::yLeft, (pattern.getChargeAxis().bipolar ? QStringLiteral("Charge / %1")
                                                                       : QStringLiteral("|Charge| / %1"))
                                          .arg(unit.name));
    plot.setAxisScaleDraw(QwtPlot::yLeft, new ChargeScaleDraw(pattern.getChargeAxis(), unit.factor));
    if (pattern.getChargeAxis().logarithmic)
        plot.setAxisScaleDiv(QwtPlot::yLeft, decades(axis));
    else
        plot.setAxisScale(QwtPlot::yLeft, axis.bottom, axis.top);
}

QwtText textOf(const QString &text, int pointSize)
{
    // Names of files are shown as they are, never as markup.
    QwtText result(text, QwtText::PlainText);
    QFont font = result.font();
    font.setPointSize(pointSize);
    result.setFont(font);
    return result;
}

} // namespace

QImage drawPatternPlot(const Pattern &pattern, const PatternPlotTexts &texts)
{
    QImage cells;
    if (!pattern.getLastPatternDisplay(&cells, nullptr))
        return {};
    const PlotAxis axis = plotAxisOf(pattern.getChargeAxis());
    QwtPlot plot;
    plot.setTitle(textOf(texts.title, 15));
    plot.setFooter(textOf(texts.footer, 9));
    plot.setCanvasBackground(pattern.getBackgroundColor());
    setUpAxes(plot, pattern, axis, texts.chargeUnit);
    setUpColorBar(plot, pattern);

    auto *grid = new QwtPlotGrid;
    grid->setPen(QColor(225, 225, 225), 0.0, Qt::DotLine);
    grid->setZ(-1.0);
    grid->attach(&plot);
    (new CellsItem(cells, QRectF(QPointF(0.0, axis.top), QPointF(pattern.getPatternScaleX(), axis.bottom))))
        ->attach(&plot);
    (new SineItem(pattern.getPatternScaleX(), axis))->attach(&plot);
    plot.replot();

    const QSize size(std::clamp(cells.width() + RoomAround, LeastWidth, Largest),
                     std::clamp(cells.height() + RoomAround, LeastHeight, Largest));
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::white);
    plot.resize(size);
    QwtPlotRenderer renderer;
    renderer.setDiscardFlag(QwtPlotRenderer::DiscardBackground);
    QPainter painter(&image);
    renderer.render(&plot, &painter, QRectF(QPointF(15.0, 10.0), QSizeF(size.width() - 35.0, size.height() - 20.0)));
    return image;
}

} // namespace NoxHost
