#include "entries/measurement/synchronized_pattern.h"

#include "entries/log.h"
#include "entries/measurement/pattern_keys.h"

#include <QImage>

#include <cmath>
#include <limits>

namespace CommonNOX::Data
{

using Shared::Diagrams::AxisScalingType;

namespace
{

const PropertyKey GeometryKeys[] = {PatternKeys::PixelDimensionX, PatternKeys::PixelDimensionY,
                                    PatternKeys::ScaleX,          PatternKeys::ScaleY,
                                    PatternKeys::Bipolar,         PatternKeys::AxisScaling};
const PropertyKey ColorKeys[] = {PatternKeys::BackgroundColor, PatternKeys::Palette};

bool readDimension(const QVariant &value, quint16 &dimension)
{
    bool isNumber = false;
    const int number = value.toInt(&isNumber);
    if (!isNumber || number < 1 || number > std::numeric_limits<quint16>::max())
        return false;
    dimension = quint16(number);
    return true;
}

bool readScale(const QVariant &value, double &scale)
{
    bool isNumber = false;
    const double number = value.toDouble(&isNumber);
    if (!isNumber || !std::isfinite(number) || 1.0 + number == 1.0)
        return false;
    scale = number;
    return true;
}

QColor readColor(const QVariant &value)
{
    return value.canConvert<QColor>() ? value.value<QColor>() : QColor(value.toString());
}

} // namespace

SynchronizedPattern::SynchronizedPattern(
    const std::shared_ptr<const Shared::GuiContexts::ReaderInterface> &channelContext, QObject *parent)
    : QObject(parent), m_context(channelContext), m_scaleY(m_pattern.getPatternScaleY())
{
    const auto follow = [this](const QString &name) {
        m_subscriptions.push_back(m_context.subscribeProperty(
            name, [this](const QString &key, const QVariant &value) { onParametersChanged(key, value); }));
    };
    for (const PropertyKey &key : GeometryKeys)
        follow(key);
    for (const PropertyKey &key : ColorKeys)
        follow(key);
    refreshBackgroundColor();
    refreshPatternParameter();
}

SynchronizedPattern::~SynchronizedPattern()
{
    m_subscriptions.clear();
}

bool SynchronizedPattern::apply(const QString &name, const QVariant &value)
{
    quint16 dimension = 0;
    double scale = 0.0;
    if (name == PatternKeys::PixelDimensionX.toString() || name == PatternKeys::PixelDimensionY.toString()) {
        if (!readDimension(value, dimension))
            return false;
        const bool isX = name == PatternKeys::PixelDimensionX.toString();
        const quint64 other = isX ? m_pattern.getPixelDimensionY() : m_pattern.getPixelDimensionX();
        if (other * dimension > Pattern::MaximumCells)
            return false;
        isX ? m_pattern.setPixelDimensionX(dimension) : m_pattern.setPixelDimensionY(dimension);
        return true;
    }
    if (name == PatternKeys::ScaleX.toString() || name == PatternKeys::ScaleY.toString()) {
        if (!readScale(value, scale))
            return false;
        if (name == PatternKeys::ScaleX.toString())
            m_pattern.setPatternScaleX(scale);
        else
            m_scaleY = scale;
        return true;
    }
    if (name == PatternKeys::Bipolar.toString()) {
        m_pattern.setBipolarStatus(value.toBool());
        return true;
    }
    if (name == PatternKeys::AxisScaling.toString()) {
        const int scaling = value.toInt();
        if (scaling != int(AxisScalingType::Linear) && scaling != int(AxisScalingType::Logarithmic))
            return false;
        m_pattern.setAxisScaling(AxisScalingType(scaling));
        return true;
    }
    if (name == PatternKeys::BackgroundColor.toString()) {
        const QColor color = readColor(value);
        if (color.isValid())
            m_pattern.setBackgroundColor(color);
        return color.isValid();
    }
    if (name == PatternKeys::Palette.toString()) {
        const auto palette = FindPalette(value.toString());
        if (palette)
            m_pattern.setPatternPalette(*palette);
        return palette.has_value();
    }
    return false;
}

void SynchronizedPattern::calculate()
{
    m_pattern.setPatternScaleY(m_scaleY);
    m_pattern.calculatePatternParameter();
}

void SynchronizedPattern::onParametersChanged(const QString &key, const QVariant &value)
{
    // A key that goes leaves its last value in force.
    if (!value.isValid())
        return;
    const auto take = [&](const QString &name, bool isGeometry) {
        if (key != m_context.getPropertyPath(name))
            return;
        const std::lock_guard guard(m_mutex);
        if (!apply(name, value))
            qCWarning(libraryLog).noquote()
                << QStringLiteral("\"%1\" is no value for \"%2\".").arg(value.toString(), key);
        else if (isGeometry)
            calculate();
    };
    for (const PropertyKey &name : GeometryKeys)
        take(name, true);
    for (const PropertyKey &name : ColorKeys)
        take(name, false);
}

void SynchronizedPattern::refreshBackgroundColor()
{
    const std::lock_guard guard(m_mutex);
    for (const PropertyKey &key : ColorKeys)
        apply(key, m_context.getProperty(key));
}

void SynchronizedPattern::refreshPatternParameter()
{
    // Read under the lock, so that a change which was delivered already is not undone by an older value.
    const std::lock_guard guard(m_mutex);
    for (const PropertyKey &key : GeometryKeys) {
        const QVariant value = m_context.getProperty(key);
        if (value.isValid())
            apply(key, value);
    }
    calculate();
}

bool SynchronizedPattern::write(const QString &name, const QVariant &value)
{
    {
        // Tried on the settings first, where an unusable value leaves no trace.
        const std::lock_guard guard(m_mutex);
        if (!apply(name, value))
            return false;
    }
    return m_context.setProperty(name, value);
}

bool SynchronizedPattern::setPixelDimensionX(int columns)
{
    return write(PatternKeys::PixelDimensionX, columns);
}

bool SynchronizedPattern::setPixelDimensionY(int rows)
{
    return write(PatternKeys::PixelDimensionY, rows);
}

bool SynchronizedPattern::setPatternScaleX(double degrees)
{
    return write(PatternKeys::ScaleX, degrees);
}

bool SynchronizedPattern::setPatternScaleY(double charge)
{
    return write(PatternKeys::ScaleY, charge);
}

bool SynchronizedPattern::setBipolarStatus(bool bipolar)
{
    return write(PatternKeys::Bipolar, bipolar);
}

bool SynchronizedPattern::setAxisScaling(AxisScalingType scaling)
{
    return write(PatternKeys::AxisScaling, int(scaling));
}

bool SynchronizedPattern::setBackgroundColor(const QColor &color)
{
    return write(PatternKeys::BackgroundColor, color.name());
}

bool SynchronizedPattern::setPatternPalette(PatternPalette palette)
{
    return write(PatternKeys::Palette, GetPaletteNames().value(int(palette)));
}

bool SynchronizedPattern::clearPattern()
{
    const std::lock_guard guard(m_mutex);
    return m_pattern.clearPattern();
}

void SynchronizedPattern::addPatternDuration(quint64 ticks)
{
    const std::lock_guard guard(m_mutex);
    m_pattern.addPatternDuration(ticks);
}

void SynchronizedPattern::updatePattern(const Period &period)
{
    const std::lock_guard guard(m_mutex);
    m_pattern.updatePattern(period);
}

bool SynchronizedPattern::getLastPatternDisplay(QImage *pattern, QImage *overflow) const
{
    const std::lock_guard guard(m_mutex);
    return m_pattern.getLastPatternDisplay(pattern, overflow);
}

Pattern SynchronizedPattern::getPattern() const
{
    const std::lock_guard guard(m_mutex);
    return m_pattern;
}

double SynchronizedPattern::getDuration() const
{
    const std::lock_guard guard(m_mutex);
    return m_pattern.getDuration();
}

double SynchronizedPattern::getLargestCharge() const
{
    const std::lock_guard guard(m_mutex);
    return m_pattern.getLargestCharge();
}

bool SynchronizedPattern::getBipolarStatus() const
{
    const std::lock_guard guard(m_mutex);
    return m_pattern.getChargeAxis().bipolar;
}

AxisScalingType SynchronizedPattern::getAxisScaling() const
{
    const std::lock_guard guard(m_mutex);
    return m_pattern.getAxisScaling();
}

} // namespace CommonNOX::Data
