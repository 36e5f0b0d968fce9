#pragma once

#include "nox_export.h"

#include <QtGlobal>

#include <bit>
#include <cmath>
#include <vector>

namespace CommonNOX::Data
{

/// Which row of a pattern a charge falls into.
struct ChargeAxis
{
    int rows = 0;
    int halfRows = 0;       ///< rows for charges from 0 on
    double rowsPerUnit = 0; ///< of charge, or of its decade
    double unit = 1.0;      ///< on a logarithmic axis the charge where it begins
    bool bipolar = false;   ///< else charges count by their magnitude
    bool logarithmic = false;

    /// From 0 at the top; `rows` for a charge that is on none, one that is not a number included. A result between
    /// -1 and 0 is cut off to row 0, as every fraction is cut off.
    int rowOf(double charge) const
    {
        double q = bipolar ? charge : std::abs(charge);
        if (logarithmic)
            q = std::copysign(std::log10(std::fmax(std::abs(q / unit), 1.0)), q);
        const double row = halfRows - q * rowsPerUnit;
        return row > -1.0 && row < rows ? int(row) : rows;
    }
};

/// The same for a logarithmic axis without a logarithm for each charge, and with the same results to the last bit.
///
/// The magnitudes are cut into buckets by the leading bits of their representation, so that hardly any holds more
/// than one edge between two rows. Edges come from ChargeAxis::rowOf() by bisection; near an edge, where the
/// logarithm's last bits decide, and in buckets with several, that function itself is asked.
class NOX_EXPORT ChargeRowTable
{
public:
    ChargeRowTable() = default;
    explicit ChargeRowTable(const ChargeAxis &axis);

    int rowOf(double charge) const
    {
        const auto bits = std::bit_cast<quint64>(charge);
        const double magnitude = std::abs(charge);
        const quint64 key = (bits & ~SignBit) >> m_shift;
        quint64 bucket = key < m_firstKey ? 0 : key - m_firstKey;
        bucket = bucket > m_lastBucket ? m_lastBucket : bucket;
        const Bucket &place = m_buckets[bucket + (bits >> 63) * m_negativeOffset];
        if (magnitude < place.below)
            return place.rowBelow;
        if (magnitude > place.above)
            return place.rowAbove;
        return m_axis.rowOf(charge);
    }

private:
    static constexpr quint64 SignBit = quint64(1) << 63;

    struct Bucket
    {
        double below; ///< smaller magnitudes are in rowBelow
        double above; ///< larger ones in rowAbove
        int rowBelow;
        int rowAbove;
    };

    Bucket makeBucket(quint64 first, quint64 last, double sign) const;

    ChargeAxis m_axis;
    std::vector<Bucket> m_buckets; // of positive charges, then of negative ones
    int m_shift = 63;
    quint64 m_firstKey = 0;
    quint64 m_lastBucket = 0;
    quint64 m_negativeOffset = 0;
};

} // namespace CommonNOX::Data
