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
constexpr double Infinity = std::numeric_limits<double>::infinity();

} // namespace

ChargeRowTable::ChargeRowTable(const ChargeAxis &axis) : m_axis(axis)
{
    // The buckets of an octave are equally wide, so the first one spans the most of the axis: 1.44 / 2^bits octaves.
    const double rowsPerOctave = std::abs(axis.rowsPerUnit) * std::log10(2.0);
    int bits = 1;
    while (bits < MostBucketBits && rowsPerOctave * 1.5 > double(1 << bits))
        ++bits;
    m_shift = quint64(MantissaBits - bits);

    // One octave below the beginning, and one above the end, where nothing changes any more.
    const double top = axis.unit * std::pow(10.0, (axis.halfRows + 2) / axis.rowsPerUnit);
    const double lowest = std::max(axis.unit / 2.0, std::numeric_limits<double>::min());
    const double highest = std::min(std::isfinite(top) ? std::max(top, lowest) : lowest, 1e6 * axis.unit) * 2.0;
    m_firstKey = qint64(std::bit_cast<quint64>(lowest) >> m_shift);
    m_lastBucket = qint64(std::bit_cast<quint64>(highest) >> m_shift) - m_firstKey;
    m_negativeOffset = axis.bipolar ? m_lastBucket + 1 : 0;

    const quint64 size = quint64(1) << m_shift;
    for (const double sign : {1.0, -1.0}) {
        if (sign < 0.0 && !axis.bipolar)
            break;
        for (qint64 i = 0; i <= m_lastBucket; ++i) {
            const quint64 begin = quint64(m_firstKey + i) << m_shift;
            const quint64 first = i == 0 ? 0 : begin;
            const quint64 last =
                i == m_lastBucket ? std::bit_cast<quint64>(std::numeric_limits<double>::max()) : begin + size - 1;
            m_buckets.push_back(makeBucket(first, last, sign));
        }
    }
}

ChargeRowTable::Bucket ChargeRowTable::makeBucket(quint64 first, quint64 last, double sign) const
{
    const auto rowAt = [&](quint64 bits) { return m_axis.rowOf(std::copysign(std::bit_cast<double>(bits), sign)); };
    const int firstRow = rowAt(first);
    const int lastRow = rowAt(last);
    if (firstRow == lastRow)
        return {Infinity, {firstRow, lastRow}};
    // Of the first row the end, and of the last row the beginning.
    const auto bisect = [&](auto isBefore) {
        quint64 low = first;
        quint64 high = last;
        while (high - low > 1) {
            const quint64 middle = low + (high - low) / 2;
            (isBefore(rowAt(middle)) ? low : high) = middle;
        }
        return std::bit_cast<double>(high);
    };
    const double end = bisect([&](int row) { return row == firstRow; });
    const double beginning = bisect([&](int row) { return row != lastRow; });
    const bool isOne = std::abs(beginning - end) < 0.1 * Guard * end;
    return {isOne ? end : std::numeric_limits<double>::quiet_NaN(), {firstRow, lastRow}};
}

} // namespace CommonNOX::Data
