#pragma once

#include "nox_export.h"

#include <QtGlobal>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
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
            q = std::copysign(std::log10(std::max(std::abs(q / unit), 1.0)), q); // what is no number stays so
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
        const int row = m_axis.bipolar ? lookUp<true, false>(charge) : lookUp<false, false>(charge);
        return row == AskAxis ? m_axis.rowOf(charge) : row;
    }

    /// What lookUp() answers where only the axis knows; larger than any number of rows.
    static constexpr int AskAxis = std::numeric_limits<int>::max();
    /// Whether the axis has few rows, as patterns usually have.
    bool hasFewRows() const { return m_shift == UsualShift; }
    /// `Bipolar` is what the axis says; `FewRows`, which spares some steps, may be said when hasFewRows().
    template <bool Bipolar, bool FewRows>
    int lookUp(double charge) const
    {
        // Magnitudes compare as their bits do. Those of infinity and of what is no number follow all others.
        const auto bits = std::bit_cast<qint64>(charge);
        const qint64 magnitude = bits & ~SignBit;
        // Below the first bucket this becomes very large; both sides share the outside bucket.
        quint64 bucket = quint64((magnitude >> (FewRows ? UsualShift : m_shift)) - m_firstKey);
        bucket = bucket < m_outside ? bucket : m_outside;
        if (Bipolar)
            bucket += quint64(bits >> 63) & (m_outside + 1);
        const Bucket &place = m_buckets[bucket];
        const auto beyond = quint64(magnitude - place.guarded);
        if (beyond <= quint64(2 * Guard)) [[unlikely]]
            return AskAxis;
        // By an index, the sign, instead of a branch: nobody can predict on which side of an edge the next charge is.
        return place.rows[beyond >> 63];
    }

private:
    /// 2^7 buckets an octave, enough for 85 rows there.
    static constexpr qint64 UsualShift = 52 - 7;
    static constexpr qint64 SignBit = std::numeric_limits<qint64>::min();
    /// How many representable numbers off an edge the last bits of a logarithm may decide: some hundred times its
    /// error.
    static constexpr qint64 Guard = 8192;

    struct Bucket
    {
        /// The bits of the magnitude where the rows meet, less Guard; where they do not, beyond all magnitudes.
        qint64 guarded;
        int rows[2]; ///< of larger magnitudes, and of smaller ones
    };

    Bucket makeBucket(qint64 first, qint64 last, double sign) const;

    ChargeAxis m_axis;
    std::vector<Bucket> m_buckets; // of positive charges, then of negative ones
    // No int, which the counts that are written meanwhile might change for all a compiler knows.
    qint64 m_shift = UsualShift;
    qint64 m_firstKey = 0;
    quint64 m_outside = 0; // the number of the outside bucket, behind all others of its sign
};

} // namespace CommonNOX::Data
