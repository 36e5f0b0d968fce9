#pragma once

#include "nox_export.h"

#include <QtGlobal>

#include <algorithm>
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
        const qint64 key = qint64((bits & ~SignBit) >> m_shift) - m_firstKey;
        const qint64 bucket = std::clamp<qint64>(key, 0, m_lastBucket) + (m_negativeOffset & -qint64(bits >> 63));
        const Bucket &place = m_buckets[std::size_t(bucket)];
        // Also where the edge, the magnitude or their difference is not a number.
        if (!(std::abs(magnitude - place.edge) > Guard * magnitude)) [[unlikely]]
            return m_axis.rowOf(charge);
        // By an index instead of a branch: nobody can predict on which side of an edge the next charge is.
        return place.rows[magnitude > place.edge];
    }

private:
    static constexpr quint64 SignBit = quint64(1) << 63;
    /// How far from an edge, as a part of it, the last bits of a logarithm may decide: some hundred times its error.
    static constexpr double Guard = 1e-12;

    struct Bucket
    {
        double edge; ///< infinite where there is none, not a number where there are several
        int rows[2]; ///< of smaller magnitudes, and of larger ones
    };

    Bucket makeBucket(quint64 first, quint64 last, double sign) const;

    ChargeAxis m_axis;
    std::vector<Bucket> m_buckets; // of positive charges, then of negative ones
    quint64 m_shift = 63;
    qint64 m_firstKey = 0;
    qint64 m_lastBucket = 0;
    qint64 m_negativeOffset = 0; // 0 where charges count by their magnitude
};

} // namespace CommonNOX::Data
