#pragma once

#include <QString>
#include <vector>

namespace NoxHost
{

/// The test voltage over time: straight lines between points, constant before the first and after the last.
class VoltageProfile
{
public:
    struct Point
    {
        double seconds = 0.0;
        double kilovolts = 0.0; ///< r.m.s.
    };

    static constexpr int MaximumPoints = 1000;
    static constexpr double MaximumSeconds = 1e7;
    static constexpr double MaximumKilovolts = 1000.0;

    /// Up to 20 kV in 5 s, 20 s there, and down to nothing in 5 s.
    VoltageProfile();

    /// Reads `SECONDS:KILOVOLTS,...` such as `0:0,2:20,8:20,10:0`, with decimal points and the spaces one likes. Two
    /// points at one time are a jump. On failure returns false with one sentence in @p error, and leaves @p profile
    /// alone. Times are 0 to MaximumSeconds and do not fall, voltages are 0 to MaximumKilovolts.
    static bool fromText(const QString &text, VoltageProfile &profile, QString &error);

    double kilovoltsAt(double seconds) const; ///< r.m.s.
    double highestKilovolts() const;          ///< r.m.s.
    double duration() const;                  ///< seconds; the time of the last point
    const std::vector<Point> &points() const { return m_points; }

private:
    std::vector<Point> m_points; // never empty
};

} // namespace NoxHost
