#include "entries/measurement/pattern.h"

#include "entries/measurement/period.h"

#include <QImage>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <type_traits>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

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

/// Row and column of an event; beyond all that there are where it has none.
struct Cell
{
    quint32 row;
    quint32 column;
};

/// Cuts off to a whole number; what is negative, too large or not a number becomes larger than any dimension.
quint32 cutOff(double place)
{
#ifdef __SSE2__
    return quint32(_mm_cvttsd_si32(_mm_set_sd(place)));
#else
    return place > -1.0 && place < 65536.0 ? quint32(int(place)) : 0x80000000u;
#endif
}

template <bool Bipolar, bool FewRows>
class LogarithmicCells
{
public:
    LogarithmicCells(const ChargeRowTable &table, double columnsPerDegree)
        : m_table(table), m_columnsPerDegree(columnsPerDegree)
    {}

    Cell operator()(const EvaluatedEvent &event) const
    {
        return {quint32(m_table.lookUp<Bipolar, FewRows>(event.charge)), cutOff(event.phase * m_columnsPerDegree)};
    }

private:
    const ChargeRowTable &m_table;
    const double m_columnsPerDegree;
};

#ifdef __SSE2__

/// Row and column at once, by the steps of ChargeAxis::rowOf(): the negated factor gives the same bits.
class LinearCells
{
public:
    LinearCells(const ChargeAxis &axis, double columnsPerDegree)
        : m_kept(_mm_castsi128_pd(_mm_set_epi64x(-1, axis.bipolar ? -1 : std::numeric_limits<qint64>::max()))),
          m_factors(_mm_set_pd(columnsPerDegree, -axis.rowsPerUnit)), m_offsets(_mm_set_pd(0.0, axis.halfRows))
    {}

    Cell operator()(const EvaluatedEvent &event) const
    {
        static_assert(offsetof(EvaluatedEvent, phase) == offsetof(EvaluatedEvent, charge) + sizeof(double));
        const __m128d values = _mm_and_pd(_mm_loadu_pd(&event.charge), m_kept);
        const __m128d places = _mm_add_pd(_mm_mul_pd(values, m_factors), m_offsets);
        const auto both = quint64(_mm_cvtsi128_si64(_mm_cvttpd_epi32(places)));
        return {quint32(both), quint32(both >> 32)};
    }

private:
    const __m128d m_kept; // all bits but the charge's sign where that does not count
    const __m128d m_factors;
    const __m128d m_offsets;
};

#else

class LinearCells
{
public:
    LinearCells(const ChargeAxis &axis, double columnsPerDegree) : m_axis(axis), m_columnsPerDegree(columnsPerDegree) {}

    Cell operator()(const EvaluatedEvent &event) const
    {
        return {quint32(m_axis.rowOf(event.charge)), cutOff(event.phase * m_columnsPerDegree)};
    }

private:
    const ChargeAxis m_axis;
    const double m_columnsPerDegree;
};

#endif

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
    const auto addLogarithmic = [&](auto isBipolar, auto hasFewRows) {
        addEvents(events, count, LogarithmicCells<isBipolar.value, hasFewRows.value>(m_rowTable, m_columnsPerDegree));
    };
    using std::false_type, std::true_type;
    if (!m_axis.logarithmic)
        addEvents(events, count, LinearCells(m_axis, m_columnsPerDegree));
    else if (m_rowTable.hasFewRows())
        m_axis.bipolar ? addLogarithmic(true_type(), true_type()) : addLogarithmic(false_type(), true_type());
    else
        m_axis.bipolar ? addLogarithmic(true_type(), false_type()) : addLogarithmic(false_type(), false_type());
}

template <class CellOf>
void Pattern::addEvents(const EvaluatedEvent *events, int count, const CellOf &cellOf)
{
    const auto rows = quint32(m_axis.rows);
    const auto columns = quint32(m_columns);
    quint32 *const cells = m_counts.data();
    for (const EvaluatedEvent *event = events; event != events + count; ++event) {
        const Cell cell = cellOf(*event);
        // One branch for all, which hardly ever goes the other way.
        if (bool(unsigned(cell.row < rows) & unsigned(cell.column < columns) & unsigned(event->counted))) [[likely]]
            ++cells[std::size_t(cell.row) * columns + cell.column];
        else if (event->counted)
            addBesides(*event, cell.row, cell.column);
    }
}

void Pattern::addBesides(const EvaluatedEvent &event, quint32 row, quint32 column)
{
    const bool isOnColumn = column < quint32(m_columns);
    if (row == quint32(ChargeRowTable::AskAxis))
        row = quint32(m_axis.rowOf(event.charge));
    if (isOnColumn && row < quint32(m_axis.rows))
        ++m_counts[std::size_t(row) * std::size_t(m_columns) + column];
    else if (isOnColumn && std::isfinite(event.charge))
        ++m_overflow[column];
    else
        ++m_dropped;
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
