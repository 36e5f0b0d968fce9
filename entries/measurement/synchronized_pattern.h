#pragma once

#include "entries/measurement/pattern.h"
#include "platform/visitors.h"

#include <QObject>
#include <QVariant>

#include <mutex>
#include <vector>

namespace CommonNOX::Data
{

/// A pattern that follows the keys of its channel's context (pattern_keys.h), each with the default of a Pattern where
/// it is absent. A change of the geometry empties the pattern, one of a colour does not. An unusable value (a dimension
/// out of range, a scale that is 0 or no number, an unknown axis or palette) leaves what was in force.
///
/// Any thread may call anything.
class NOX_EXPORT SynchronizedPattern : public QObject
{
    Q_OBJECT
public:
    explicit SynchronizedPattern(const std::shared_ptr<const Shared::GuiContexts::ReaderInterface> &channelContext,
                                 QObject *parent = nullptr);
    ~SynchronizedPattern() override;

    /// The path of the channel's context.
    QString getId() const { return m_context.getContextPath(); }

    /// The setters write the channel's key, which the pattern then follows; false when the value is unusable or the
    /// key cannot be written.
    bool setPixelDimensionX(int columns);
    bool setPixelDimensionY(int rows);
    bool setPatternScaleX(double degrees);
    bool setPatternScaleY(double charge);
    bool setBipolarStatus(bool bipolar);
    bool setAxisScaling(Shared::Diagrams::AxisScalingType scaling);
    bool setBackgroundColor(const QColor &color);
    bool setPatternPalette(PatternPalette palette);

    bool clearPattern();
    void addPatternDuration(quint64 ticks);
    void updatePattern(const Period &period);
    bool getLastPatternDisplay(QImage *pattern, QImage *overflow) const;
    /// As it is now; costs a copy of all counts.
    Pattern getPattern() const;
    double getDuration() const;
    double getLargestCharge() const;
    bool getBipolarStatus() const;
    Shared::Diagrams::AxisScalingType getAxisScaling() const;

public slots:
    /// Takes the value of a key, given by its full path. Other keys are left alone.
    void onParametersChanged(const QString &key, const QVariant &value);
    /// Reads the colours' keys.
    void refreshBackgroundColor();
    /// Reads the keys of the geometry, and empties the pattern.
    void refreshPatternParameter();

private:
    /// Applies a value to the settings; false when it is unusable.
    bool apply(const QString &name, const QVariant &value);
    bool write(const QString &name, const QVariant &value);
    void calculate();

    const Utilities::GuiContextVisitor m_context;
    mutable std::mutex m_mutex;
    Pattern m_pattern;
    double m_scaleY; // as its key says; the pattern's own is converted by each calculation
    // Last, so that nothing is followed any more when the rest goes.
    std::vector<Shared::Subscription> m_subscriptions;
};

} // namespace CommonNOX::Data
