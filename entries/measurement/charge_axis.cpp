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
const qint64 LargestMagnitude = std::bit_cast<qint64>(std::numeric_limits<double>::max());
/// Beyond the bits of every magnitude, and what is no number among them.
constexpr qint64 Nowhere = std::numeric_limits<qint64>::max();

} // namespace

ChargeRowTable::ChargeRowTable(const ChargeAxis &axis) : m_axis(axis)
{
    // The buckets of an octave are equally wide, so the first one spans the most of the axis: 1.44 / 2^bits octaves.
    const double rowsPerOctave = std::abs(axis.rowsPerUnit) * std::log10(2.0);
    int bits = 1;
    while (bits < MostBucketBits && rowsPerOctave * 1.5 > double(1 << bits))
        ++bits;
    m_shift = MantissaBits - bits;

    // One octave below the beginning, and one above the end, where nothing changes any more.
    const double top = axis.unit * std::pow(10.0, (axis.halfRows + 2) / axis.rowsPerUnit);
    const double lowest = std::max(axis.unit / 2.0, std::numeric_limits<double>::min());
    const double highest = std::min(std::isfinite(top) ? std::max(top, lowest) : lowest, 1e6 * axis.unit) * 2.0;
    m_firstKey = std::bit_cast<qint64>(lowest) >> m_shift;
    m_lastBucket = (std::bit_cast<qint64>(highest) >> m_shift) - m_firstKey;
    m_negativeOffset = axis.bipolar ? m_lastBucket + 1 : 0;

    const qint64 size = qint64(1) << m_shift;
    for (const double sign : {1.0, -1.0}) {
        if (sign < 0.0 && !axis.bipolar)
            break;
        for (qint64 i = 0; i <= m_lastBucket; ++i) {
            const qint64 begin = (m_firstKey + i) << m_shift;
            const qint64 last = i == m_lastBucket ? LargestMagnitude : begin + size - 1;
            m_buckets.push_back(makeBucket(i == 0 ? 0 : begin, last, sign));
        }
    }
}

ChargeRowTable::Bucket ChargeRowTable::makeBucket(qint64 first, qint64 last, double sign) const
{
    const auto rowAt = [&](qint64 bits) { return m_axis.rowOf(std::copysign(std::bit_cast<double>(bits), sign)); };
    const int firstRow = rowAt(first);
    const int lastRow = rowAt(last);
    // What is not a number lies behind the last magnitude.
    const int behind = last == LargestMagnitude ? AskAxis : lastRow;
    if (firstRow == lastRow)
        return {last == LargestMagnitude ? last + qint64(Guard) : Nowhere, {firstRow, behind}};
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
    if (std::abs(beginning - end) > qint64(Guard / 8) || behind == AskAxis)
        return {Nowhere, {AskAxis, AskAxis}};
    return {end, {firstRow, lastRow}};
}

} // namespace CommonNOX::Data
