#include "entries/measurement/pattern.h"

#include "entries/measurement/period.h"

#include <QImage>

#include <algorithm>
#include <cmath>
#include <limits>

namespace CommonNOX::Data
{

using Shared::Diagrams::AxisScalingType;

namespace
{

bool isZero(double x)
{
    return std::abs((1.0 + x) - 1.0) * 1e12 <= std::min(std::abs(1.0 + x), 1.0);
}

/// Where a logarithmic axis up to this charge begins: between two and three decades below.
double beginningOf(double scale)
{
    const double positive = scale > 0.0 ? scale : std::numeric_limits<double>::epsilon();
    return std::pow(10.0, std::floor(std::log10(positive))) / 100.0;
}

/// Draws rows of counts; counts of 0 stay background.
QImage draw(const quint32 *counts, int columns, int rows, const QColor &background, PatternPalette palette)
{
    QImage image(columns, rows, QImage::Format_RGB32);
    const PaletteColors &colors = GetPaletteColors(palette);
    const QRgb empty = background.isValid() ? background.rgb() : qRgb(255, 255, 255);
    const quint32 largest = *std::max_element(counts, counts + std::ptrdiff_t(columns) * rows);
    for (int row = 0; row < rows; ++row) {
        auto *pixels = reinterpret_cast<QRgb *>(image.scanLine(row));
        for (int column = 0; column < columns; ++column) {
            const quint32 count = *counts++;
            pixels[column] = count == 0 ? empty : colors[std::size_t(GetPaletteIndex(count, largest))];
        }
    }
    return image;
}

} // namespace

// The largest number of columns: no dimension leaves one without its overflow count.
Pattern::Pattern() : m_overflow(std::numeric_limits<quint16>::max(), 0u) {}

Pattern::~Pattern() = default;

void Pattern::calculatePatternParameter()
{
    if (isZero(m_patternScaleX) || isZero(m_patternScaleY) || !std::isfinite(m_patternScaleX) ||
        !std::isfinite(m_patternScaleY))
        return;
    const quint64 cells = quint64(m_pixelDimensionX) * m_pixelDimensionY;
    if (cells == 0 || cells > MaximumCells)
        return;
    m_clock.resetClock();
    m_duration = 0.0;
    m_counts.assign(cells, 0u);
    clearPattern();
    m_columns = m_pixelDimensionX;
    m_axis = {};
    m_axis.rows = m_pixelDimensionY;
    m_axis.bipolar = m_bipolar;
    m_axis.logarithmic = m_axisScaling == AxisScalingType::Logarithmic;
    if (m_axis.logarithmic) {
        m_axis.unit = beginningOf(m_patternScaleY);
        m_patternScaleY = std::log10(std::max(m_patternScaleY / m_axis.unit, 1.0));
    }
    m_axis.halfRows = m_bipolar ? m_axis.rows / 2 : m_axis.rows;
    m_columnsPerDegree = m_columns / m_patternScaleX;
    m_axis.rowsPerUnit = m_axis.halfRows / m_patternScaleY;
    m_rowTable = m_axis.logarithmic ? ChargeRowTable(m_axis) : ChargeRowTable();
}

bool Pattern::clearPattern()
{
    std::fill(m_counts.begin(), m_counts.end(), 0u);
    std::fill(m_overflow.begin(), m_overflow.end(), 0u);
    m_dropped = 0;
    return !m_counts.empty();
}

void Pattern::addPatternDuration(quint64 ticks)
{
    m_duration = m_clock.addTicks(ticks);
}

void Pattern::updatePattern(const Period &period)
{
    if (!period.isValid() || period.getDuration() < 0)
        return;
    m_clock.setSampleRate(period.getSampleRate());
    addPatternDuration(quint64(period.getDuration()));
    if (period.getNumberOfElements() == 0)
        return;
    const EvaluatedEventVector events = period.getEvaluatedEvents();
    addEvents(events.constData(), events.size());
}

void Pattern::addEvents(const EvaluatedEvent *events, int count)
{
    if (m_counts.empty())
        return;
    // Copies, which the compiler can keep in registers while counts are written.
    if (m_axis.logarithmic)
        addEvents(events, count, [&table = m_rowTable](double charge) { return table.rowOf(charge); });
    else if (m_axis.bipolar)
        addEvents(events, count,
                  [half = double(m_axis.halfRows), rows = m_axis.rows, factor = m_axis.rowsPerUnit](double charge) {
                      const double row = half - charge * factor;
                      return row > -1.0 && row < rows ? int(row) : rows;
                  });
    else
        addEvents(events, count,
                  [half = double(m_axis.halfRows), rows = m_axis.rows, factor = m_axis.rowsPerUnit](double charge) {
                      const double row = half - std::abs(charge) * factor;
                      return row > -1.0 && row < rows ? int(row) : rows;
                  });
}

template <class RowOf>
void Pattern::addEvents(const EvaluatedEvent *events, int count, RowOf rowOf)
{
    const int rows = m_axis.rows;
    const int columns = m_columns;
    const double columnsPerDegree = m_columnsPerDegree;
    quint32 *const cells = m_counts.data();
    for (const EvaluatedEvent *event = events; event != events + count; ++event) {
        if (!event->counted)
            continue;
        const double column = event->phase * columnsPerDegree;
        const bool isOnColumn = column > -1.0 && column < columns;
        const int row = isOnColumn ? rowOf(event->charge) : rows;
        if (row < rows)
            ++cells[std::size_t(row) * std::size_t(columns) + std::size_t(int(column))];
        else if (isOnColumn && std::isfinite(event->charge))
            ++m_overflow[std::size_t(int(column))];
        else
            ++m_dropped;
    }
}

bool Pattern::getLastPatternDisplay(QImage *pattern, QImage *overflow) const
{
    if (m_counts.empty() || (!pattern && !overflow))
        return false;
    if (pattern)
        *pattern = draw(m_counts.data(), m_columns, m_axis.rows, m_backgroundColor, m_palette);
    if (overflow)
        *overflow = draw(m_overflow.data(), m_columns, 1, m_backgroundColor, m_palette);
    return true;
}

double Pattern::getLargestCharge() const
{
    if (m_counts.empty())
        return 0.0;
    const double top = m_axis.halfRows / m_axis.rowsPerUnit;
    return m_axis.logarithmic ? m_axis.unit * std::pow(10.0, top) : top;
}

} // namespace CommonNOX::Data
