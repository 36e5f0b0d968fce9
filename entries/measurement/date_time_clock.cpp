#include "entries/measurement/date_time_clock.h"

namespace CommonNOX
{

DateTimeClock::DateTimeClock(DateTimeSource source, const QVariant &parameter)
    : m_source(source), m_parameter(parameter)
{}

DateTimeClock::~DateTimeClock() = default;

bool DateTimeClock::setDateTimeSourceParameter(DateTimeSource source, const QVariant &parameter)
{
    m_source = source;
    m_parameter = parameter;
    return true;
}

QDateTime DateTimeClock::getCurrentDateTime() const
{
    return m_source == DateTimeSource::Computer ? QDateTime::currentDateTimeUtc() : QDateTime();
}

QString DateTimeClock::getCurrentDateTimeString() const
{
    const QDateTime now = getCurrentDateTime();
    return now.isValid() ? now.toString(Qt::ISODate) : QString();
}

bool DateTimeClock::isValid() const
{
    return true;
}

} // namespace CommonNOX
