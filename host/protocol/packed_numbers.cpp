#include "host/protocol/packed_numbers.h"

#include "host/protocol/message_names.h"

#include <QtEndian>

#include <array>
#include <cstring>
#include <memory>

namespace NoxHost
{

using CommonNOX::Entries::SampleVector;
using CommonNOX::Entries::Results::Space2D::PeakData;
using CommonNOX::Entries::Results::Space2D::PeakVector;

namespace
{

constexpr quint32 Invalid = 0xff000000U;

/// What a character contributes to three bytes, for each of its four places; Invalid for what is no base64.
constexpr auto makeTables()
{
    constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::array<std::array<quint32, 256>, 4> tables{};
    for (auto &table : tables)
        table.fill(Invalid);
    for (quint32 value = 0; value < 64; ++value) {
        for (std::size_t place = 0; place < 4; ++place)
            tables[place][std::size_t(static_cast<unsigned char>(alphabet[value]))] = value << (18 - 6 * place);
    }
    return tables;
}

constexpr auto Tables = makeTables();

/// Three bytes of four characters; Invalid in the highest byte when one of them is none of the alphabet.
quint32 decodeQuad(const ushort *characters)
{
    const unsigned beyond = (characters[0] | characters[1] | characters[2] | characters[3]) & 0xff00U;
    return (beyond != 0 ? Invalid : 0) | Tables[0][characters[0] & 0xffU] | Tables[1][characters[1] & 0xffU] |
           Tables[2][characters[2] & 0xffU] | Tables[3][characters[3] & 0xffU];
}

/// The decoded bytes, in a buffer that has room for some more; `size` is -1 for a text that is no base64.
struct Decoded
{
    std::unique_ptr<uchar[]> bytes;
    qint64 size = -1;
};

Decoded decode(const QString &base64)
{
    Decoded decoded;
    const int length = base64.size();
    if (length % 4 != 0)
        return decoded;
    int padding = 0;
    while (padding < 2 && padding < length && base64[length - 1 - padding] == QLatin1Char('='))
        ++padding;
    decoded.bytes.reset(new uchar[std::size_t(length) / 4 * 3 + 4]);
    const ushort *from = base64.utf16();
    uchar *to = decoded.bytes.get();
    const int wholeQuads = length / 4 - (padding > 0 ? 1 : 0);
    quint32 seen = 0;
    for (int quad = 0; quad < wholeQuads; ++quad, from += 4, to += 3) {
        const quint32 value = decodeQuad(from);
        seen |= value;
        qToBigEndian(value << 8, to);
    }
    if (padding > 0) {
        const ushort last[] = {from[0], from[1], padding == 2 ? ushort('A') : from[2], ushort('A')};
        const quint32 value = decodeQuad(last);
        // Bits that the padding cuts off are nobody's.
        const quint32 cut = padding == 2 ? 0xffffU : 0xffU;
        seen |= value | ((value & cut) != 0 ? Invalid : 0);
        qToBigEndian(value << 8, to);
    }
    if ((seen & Invalid) == 0)
        decoded.size = qint64(length) / 4 * 3 - padding;
    return decoded;
}

} // namespace

bool decodePeaks(const QString &base64, PeakVector &peaks)
{
    peaks.clear();
    const Decoded decoded = decode(base64);
    if (decoded.size < 0 || decoded.size % Wire::BytesOfPeak != 0)
        return false;
    const uchar *from = decoded.bytes.get();
    peaks.resize(int(decoded.size / Wire::BytesOfPeak));
    for (PeakData &peak : peaks) {
        peak.amplitude = qFromLittleEndian<qint32>(from);
        peak.voltage = qFromLittleEndian<qint32>(from + 4);
        peak.time = qFromLittleEndian<qint64>(from + 8);
        peak.flags = from[16];
        from += Wire::BytesOfPeak;
    }
    return true;
}

bool decodeSamples(const QString &base64, SampleVector &samples)
{
    samples.clear();
    const Decoded decoded = decode(base64);
    if (decoded.size < 0 || decoded.size % qint64(sizeof(qint32)) != 0)
        return false;
    samples.resize(int(decoded.size / qint64(sizeof(qint32))));
    qFromLittleEndian<qint32>(decoded.bytes.get(), samples.size(), samples.data());
    return true;
}

QByteArray encodePeaks(const PeakVector &peaks)
{
    QByteArray bytes(peaks.size() * Wire::BytesOfPeak, Qt::Uninitialized);
    char *to = bytes.data();
    for (const PeakData &peak : peaks) {
        qToLittleEndian(peak.amplitude, to);
        qToLittleEndian(peak.voltage, to + 4);
        qToLittleEndian(peak.time, to + 8);
        to[16] = char(peak.flags);
        to += Wire::BytesOfPeak;
    }
    return bytes.toBase64();
}

QByteArray encodeSamples(const SampleVector &samples)
{
    QByteArray bytes(samples.size() * int(sizeof(qint32)), Qt::Uninitialized);
    qToLittleEndian<qint32>(samples.constData(), samples.size(), bytes.data());
    return bytes.toBase64();
}

} // namespace NoxHost
