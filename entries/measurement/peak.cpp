#include "entries/measurement/peak.h"

#include "entries/measurement/bulk_stream.h"
#include "entries/measurement/samples.h"

namespace CommonNOX::Entries
{

using Results::Space2D::PeakData;
using Results::Space2D::PeakVector;

template <>
struct WireCodec<PeakData>
{
    static constexpr int Size = 17;
    template <bool BigEndian>
    static void store(const PeakData &peak, uchar *to)
    {
        WireCodec<qint32>::store<BigEndian>(peak.amplitude, to);
        WireCodec<qint32>::store<BigEndian>(peak.voltage, to + 4);
        BigEndian ? qToBigEndian(peak.time, to + 8) : qToLittleEndian(peak.time, to + 8);
        to[16] = peak.flags;
    }
    template <bool BigEndian>
    static PeakData load(const uchar *from)
    {
        return {WireCodec<qint32>::load<BigEndian>(from), WireCodec<qint32>::load<BigEndian>(from + 4),
                BigEndian ? qFromBigEndian<qint64>(from + 8) : qFromLittleEndian<qint64>(from + 8), from[16]};
    }
};

namespace
{

const bool registered = [] {
    RegisterBulkPayload<PeakData>();
    RegisterBulkPayload<qint32>();
    RegisterBulkPayload<double>();
    return true;
}();

} // namespace

namespace Results::Space2D
{

QDataStream &operator<<(QDataStream &stream, const PeakVector &peaks)
{
    WriteBulk(stream, peaks);
    return stream;
}

QDataStream &operator>>(QDataStream &stream, PeakVector &peaks)
{
    ReadBulk(stream, peaks);
    return stream;
}

} // namespace Results::Space2D

} // namespace CommonNOX::Entries
