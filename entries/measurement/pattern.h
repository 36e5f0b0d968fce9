#pragma once

#include "entries/measurement/axis_scaling.h"
#include "entries/measurement/charge_axis.h"
#include "entries/measurement/clock.h"
#include "entries/measurement/evaluated_event.h"
#include "entries/measurement/pattern_palette.h"
#include "nox_export.h"

#include <QColor>

#include <vector>

class QImage;

namespace CommonNOX::Data
{

class Period;

/// The phase-resolved pattern: how many pulses of many periods fell into each cell of phase (columns) and charge (rows,
/// the largest charge at the top).
///
/// Setters of the geometry (dimensions, scales, polarity, axis) take effect at the next calculatePatternParameter(),
/// those of colours at the next display. Not locked: a pattern belongs to one owner; see SynchronizedPattern.
class NOX_EXPORT Pattern
{
public:
    /// The cells that a pattern may have: 256 MB of counts.
    static constexpr quint64 MaximumCells = quint64(1) << 26;

    Pattern();
    ~Pattern();

    void setPixelDimensionX(quint16 columns) { m_pixelDimensionX = columns; }
    quint16 getPixelDimensionX() const { return m_pixelDimensionX; }
    void setPixelDimensionY(quint16 rows) { m_pixelDimensionY = rows; }
    quint16 getPixelDimensionY() const { return m_pixelDimensionY; }
    /// The phase that the columns cover from 0 on, in degrees.
    void setPatternScaleX(double scale) { m_patternScaleX = scale; }
    double getPatternScaleX() const { return m_patternScaleX; }
    /// The largest charge on the axis, in the unit of the events. A calculation in logarithmic mode replaces it by the
    /// decades that the axis spans, and a second one takes these for a charge; whoever calculates again sets it again.
    void setPatternScaleY(double scale) { m_patternScaleY = scale; }
    double getPatternScaleY() const { return m_patternScaleY; }
    /// Whether negative charges have rows of their own; else charges count by their magnitude.
    void setBipolarStatus(bool bipolar) { m_bipolar = bipolar; }
    bool getBipolarStatus() const { return m_bipolar; }
    void setAxisScaling(Shared::Diagrams::AxisScalingType scaling) { m_axisScaling = scaling; }
    Shared::Diagrams::AxisScalingType getAxisScaling() const { return m_axisScaling; }
    /// The colour of cells without pulses.
    void setBackgroundColor(const QColor &color) { m_backgroundColor = color; }
    QColor getBackgroundColor() const { return m_backgroundColor; }
    void setPatternPalette(PatternPalette palette) { m_palette = palette; }
    PatternPalette getPatternPalette() const { return m_palette; }

    /// Applies the geometry and empties the pattern and its duration. Nothing happens when a scale is 0 (to 1e-12) or
    /// not finite, when a dimension is 0, or when there would be more than MaximumCells.
    void calculatePatternParameter();
    /// Empties the counts; the duration stays. False when no geometry has been applied yet.
    bool clearPattern();

    /// Adds ticks, at the sample rate of the latest period, to the measuring time.
    void addPatternDuration(quint64 ticks);
    /// Adds the duration of a period and its counted events. An invalid period adds nothing.
    void updatePattern(const Period &period);
    /// Adds the counted ones of these events. An event that is not on a column, or whose charge is not finite, is
    /// dropped; a charge that is on no row counts as overflow of its column. In a pattern of one polarity a charge of
    /// 0 is on no row.
    void addEvents(const EvaluatedEvent *events, int count);

    /// Draws the counts, a pixel a cell, and in the other image the overflow counts, a pixel a column. Counts are
    /// mapped to the palette logarithmically, from 1 to the largest count of each image. Either may be null. False,
    /// and the images as they were, when no geometry has been applied yet or both are null. Needs no GUI.
    bool getLastPatternDisplay(QImage *pattern, QImage *overflow) const;

    /// The geometry in force: rows and columns of the counts.
    const ChargeAxis &getChargeAxis() const { return m_axis; }
    int getColumnCount() const { return m_columns; }
    /// Counts row by row, the top row first; as many as rows times columns.
    const std::vector<quint32> &getCounts() const { return m_counts; }
    /// By column; there is one for every column that a pattern can have.
    const std::vector<quint32> &getOverflowCounts() const { return m_overflow; }
    /// Events that were on no column or not a number, since the pattern was emptied.
    quint64 getDroppedCount() const { return m_dropped; }
    /// The measuring time in seconds.
    double getDuration() const { return m_duration; }
    /// The charge at the top of the axis, whichever its scaling.
    double getLargestCharge() const;

private:
    template <class CellOf>
    void addEvents(const EvaluatedEvent *events, int count, const CellOf &cellOf);
    /// Counts an event that has no cell, or whose row the axis has to tell.
    void addBesides(const EvaluatedEvent &event, quint32 row, quint32 column);

    quint16 m_pixelDimensionX = 400;
    quint16 m_pixelDimensionY = 300;
    double m_patternScaleX = 360.0;
    double m_patternScaleY = 1000.0;
    bool m_bipolar = false;
    Shared::Diagrams::AxisScalingType m_axisScaling = Shared::Diagrams::AxisScalingType::Linear;
    QColor m_backgroundColor = Qt::white;
    PatternPalette m_palette = PatternPalette::Viridis;

    // What the counts were laid out for, whatever has been set since.
    ChargeAxis m_axis;
    ChargeRowTable m_rowTable;
    int m_columns = 0;
    double m_columnsPerDegree = 0.0;
    std::vector<quint32> m_counts;
    std::vector<quint32> m_overflow;
    quint64 m_dropped = 0;
    Clock m_clock{0.0};
    double m_duration = 0.0;
};

} // namespace CommonNOX::Data
