#pragma once

#include "nox_export.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QVariant>

namespace CommonNOX
{

/// The wall-clock date and time that is written into records.
///
/// Not locked: a clock belongs to one owner.
class NOX_EXPORT DateTimeClock
{
    Q_GADGET

public:
    /// Where the time comes from. Only the computer's clock yields a time; the others are stored for the host.
    enum class DateTimeSource : qint32 {
        Computer = 0,   ///< the computer's own clock, in UTC
        Instrument = 1, ///< the clock of a connected instrument
        TimeServer = 2  ///< a time server on the network
    };
    Q_ENUM(DateTimeSource)

    /// @param parameter specific to the source, unused by the computer's clock
    explicit DateTimeClock(DateTimeSource source = DateTimeSource::Computer, const QVariant &parameter = QVariant());
    DateTimeClock(const DateTimeClock &) = default;
    DateTimeClock &operator=(const DateTimeClock &) = default;
    virtual ~DateTimeClock();

    /// Stores both. Always true.
    bool setDateTimeSourceParameter(DateTimeSource source, const QVariant &parameter);

    /// The present time in UTC; invalid when the source yields no time.
    QDateTime getCurrentDateTime() const;

    /// The present time in ISO 8601 form, to the second; empty when the source yields no time.
    QString getCurrentDateTimeString() const;

    /// Always true: a source that yields no time is still a legal setting.
    bool isValid() const;

private:
    DateTimeSource m_source;
    QVariant m_parameter;
};

} // namespace CommonNOX
