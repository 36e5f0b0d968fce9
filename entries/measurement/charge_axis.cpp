#include "entries/measurement/charge_axis.h"

#include <algorithm>
#include <limits>

namespace CommonNOX::Data
{

namespace
{

constexpr int MantissaBits = 52;
/// Buckets of an octave are at most 2^11, whatever the rows: beyond, tables leave the caches.
constexpr int MostBucketBits = 11;
/// Beyond the bits of every magnitude, and what is no number among them.
constexpr qint64 Nowhere = std::numeric_limits<qint64>::max();

} // namespace

ChargeRowTable::ChargeRowTable(const ChargeAxis &axis) : m_axis(axis)
{
    // The buckets of an octave are equally wide, so the first one spans the most of the axis: 1.44 / 2^bits octaves.
    const double rowsPerOctave = std::abs(axis.rowsPerUnit) * std::log10(2.0);
    int bits = MantissaBits - int(UsualShift);
    while (bits < MostBucketBits && rowsPerOctave * 1.5 > double(1 << bits))
        ++bits;
    m_shift = MantissaBits - bits;

    // One octave below the beginning, and one above the end, where nothing changes any more.
    const double top = axis.unit * std::pow(10.0, (axis.halfRows + 2) / axis.rowsPerUnit);
    const double lowest = std::max(axis.unit / 2.0, std::numeric_limits<double>::min());
    const double highest = std::min(std::isfinite(top) ? std::max(top, lowest) : lowest, 1e6 * axis.unit) * 2.0;
    m_firstKey = std::bit_cast<qint64>(lowest) >> m_shift;
    m_outside = quint64((std::bit_cast<qint64>(highest) >> m_shift) - m_firstKey + 1);

    const auto beginOf = [this](quint64 bucket) { return (m_firstKey + qint64(bucket)) << m_shift; };
    for (const double sign : {1.0, -1.0}) {
        if (sign < 0.0 && !axis.bipolar)
            break;
        for (quint64 i = 0; i < m_outside; ++i)
            m_buckets.push_back(makeBucket(beginOf(i), beginOf(i + 1) - 1, sign));
        const auto rowAt = [&](qint64 place) { return axis.rowOf(std::copysign(std::bit_cast<double>(place), sign)); };
        const int lowestRow = rowAt(0) == rowAt(beginOf(0)) ? rowAt(0) : AskAxis;
        // A charge that is no number is on no row, so those above have to be on none as well.
        const int highestRow = rowAt(beginOf(m_outside) - 1) == axis.rows ? axis.rows : AskAxis;
        // Between both sides.
        m_buckets.push_back({beginOf(m_outside / 2), {highestRow, lowestRow}});
    }
}

ChargeRowTable::Bucket ChargeRowTable::makeBucket(qint64 first, qint64 last, double sign) const
{
    const auto rowAt = [&](qint64 bits) { return m_axis.rowOf(std::copysign(std::bit_cast<double>(bits), sign)); };
    const int firstRow = rowAt(first);
    const int lastRow = rowAt(last);
    if (firstRow == lastRow)
        return {Nowhere, {firstRow, lastRow}};
    // Of the first row the end, and of the last row the beginning.
    const auto bisect = [&](auto isBefore) {
        qint64 low = first;
        qint64 high = last;
        while (high - low > 1) {
            const qint64 middle = low + (high - low) / 2;
            (isBefore(rowAt(middle)) ? low : high) = middle;
        }
        return high;
    };
    const qint64 end = bisect([&](int row) { return row == firstRow; });
    const qint64 beginning = bisect([&](int row) { return row != lastRow; });
    if (std::abs(beginning - end) > Guard / 8)
        return {Nowhere, {AskAxis, AskAxis}};
    return {end - Guard, {lastRow, firstRow}};
}

} // namespace CommonNOX::Data
