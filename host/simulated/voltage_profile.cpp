#include "host/simulated/voltage_profile.h"

#include <QStringList>
#include <algorithm>

namespace NoxHost
{

namespace
{

bool readNumber(const QString &text, double maximum, double &value)
{
    bool ok = false;
    value = text.trimmed().toDouble(&ok);
    // Written so that a value that is no number fails as well.
    return ok && value >= 0.0 && value <= maximum;
}

} // namespace

VoltageProfile::VoltageProfile() : m_points{{0.0, 0.0}, {5.0, 20.0}, {25.0, 20.0}, {30.0, 0.0}} {}

bool VoltageProfile::fromText(const QString &text, VoltageProfile &profile, QString &error)
{
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() > MaximumPoints) {
        error = QStringLiteral("The voltage profile has more than %1 points.").arg(MaximumPoints);
        return false;
    }
    std::vector<Point> points;
    for (const QString &part : parts) {
        const QStringList sides = part.split(QLatin1Char(':'));
        Point point;
        if (sides.size() != 2 || !readNumber(sides[0], MaximumSeconds, point.seconds) ||
            !readNumber(sides[1], MaximumKilovolts, point.kilovolts)) {
            error = QStringLiteral(
                        "Point %1 of the voltage profile is not SECONDS:KILOVOLTS with 0 to %2 s and 0 to %3 kV.")
                        .arg(points.size() + 1)
                        .arg(MaximumSeconds, 0, 'f', 0)
                        .arg(MaximumKilovolts, 0, 'f', 0);
            return false;
        }
        if (!points.empty() && point.seconds < points.back().seconds) {
            error = QStringLiteral("Point %1 of the voltage profile is earlier than the point before.")
                        .arg(points.size() + 1);
            return false;
        }
        points.push_back(point);
    }
    profile.m_points = std::move(points);
    return true;
}

double VoltageProfile::kilovoltsAt(double seconds) const
{
    const auto after = std::upper_bound(m_points.begin(), m_points.end(), seconds,
                                        [](double time, const Point &point) { return time < point.seconds; });
    if (after == m_points.begin())
        return m_points.front().kilovolts;
    const Point &from = *(after - 1);
    if (after == m_points.end())
        return from.kilovolts;
    return from.kilovolts +
           (after->kilovolts - from.kilovolts) * ((seconds - from.seconds) / (after->seconds - from.seconds));
}

double VoltageProfile::highestKilovolts() const
{
    return std::max_element(m_points.begin(), m_points.end(),
                            [](const Point &a, const Point &b) { return a.kilovolts < b.kilovolts; })
        ->kilovolts;
}

double VoltageProfile::duration() const
{
    return m_points.back().seconds;
}

} // namespace NoxHost
