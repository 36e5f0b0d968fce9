#include "host/report/shot_plot.h"

#include <QPainter>

#include <algorithm>
#include <qwt_plot.h>
#include <qwt_plot_grid.h>
#include <qwt_plot_item.h>
#include <qwt_plot_renderer.h>
#include <qwt_scale_map.h>

namespace NoxHost
{

namespace
{

constexpr QSize Size(1200, 800);

/// A series by index. (Qwt's own curves come with a header that C++20 refuses.)
class SeriesItem : public QwtPlotItem
{
public:
    SeriesItem(const std::vector<double> &values, double indexStep, const QColor &color, double z)
        : m_values(values), m_indexStep(indexStep), m_color(color)
    {
        setZ(z);
    }

    void draw(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap, const QRectF &canvas) const override
    {
        painter->setPen(QPen(m_color, 1.5));
        const auto columns = std::max<std::size_t>(1, std::size_t(canvas.width()));
        const std::size_t step = std::max<std::size_t>(1, m_values.size() / columns);
        QPolygonF line;
        for (std::size_t begin = 0; begin < m_values.size(); begin += step) {
            const auto end = std::min(begin + step, m_values.size());
            const auto range =
                std::minmax_element(m_values.begin() + std::ptrdiff_t(begin), m_values.begin() + std::ptrdiff_t(end));
            const double x = xMap.transform(double(begin) * m_indexStep);
            line << QPointF(x, yMap.transform(*range.first));
            if (step > 1)
                line << QPointF(x, yMap.transform(*range.second));
        }
        painter->drawPolyline(line);
    }

private:
    const std::vector<double> &m_values;
    const double m_indexStep;
    const QColor m_color;
};

} // namespace

QImage drawShotPlot(const std::vector<double> &raw, const std::vector<double> &cleaned, const QString &title)
{
    QwtPlot plot;
    plot.setTitle(title);
    plot.setCanvasBackground(Qt::white);
    plot.setAxisTitle(QwtPlot::xBottom, QStringLiteral("sample"));
    plot.setAxisTitle(QwtPlot::yLeft, QStringLiteral("value"));
    double lowest = raw.empty() ? 0.0 : raw.front();
    double highest = lowest;
    for (const auto *series : {&raw, &cleaned}) {
        for (const double value : *series) {
            lowest = std::min(lowest, value);
            highest = std::max(highest, value);
        }
    }
    if (lowest == highest)
        highest = lowest + 1.0;
    plot.setAxisScale(QwtPlot::xBottom, 0.0, double(std::max<std::size_t>(2, raw.size()) - 1));
    plot.setAxisScale(QwtPlot::yLeft, lowest, highest);
    QwtPlotGrid grid;
    grid.setPen(QColor(0xdd, 0xdd, 0xdd));
    grid.attach(&plot);
    const double step = cleaned.empty() ? 1.0 : std::max(1.0, double(raw.size() / cleaned.size()));
    SeriesItem rawItem(raw, 1.0, QColor(0x99, 0x99, 0x99), 1.0);
    SeriesItem cleanedItem(cleaned, step, QColor(0x1f, 0x5f, 0xa8), 2.0);
    rawItem.attach(&plot);
    cleanedItem.attach(&plot);
    plot.resize(Size);
    plot.updateAxes();
    QImage image(Size, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    QwtPlotRenderer renderer;
    renderer.setDiscardFlag(QwtPlotRenderer::DiscardBackground);
    renderer.render(&plot, &painter, QRectF(QPointF(0, 0), QSizeF(Size)));
    painter.end();
    for (QwtPlotItem *item : {static_cast<QwtPlotItem *>(&grid), static_cast<QwtPlotItem *>(&rawItem),
                              static_cast<QwtPlotItem *>(&cleanedItem)})
        item->detach();
    return image;
}

} // namespace NoxHost
