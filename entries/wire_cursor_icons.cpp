#include "entries/wire_cursor.h"

#include <QtEndian>

#include <cstring>
#include <string_view>

// What a stream holds of an icon that was drawn elsewhere: it is stepped over, never decoded.
namespace CommonNOX
{

bool WireCursor::skipPng()
{
    static constexpr char Signature[] = "\x89PNG\r\n\x1a\n";
    static constexpr int SignatureSize = sizeof Signature - 1;
    if (!skip(SignatureSize))
        return false;
    if (std::memcmp(m_data + m_position - SignatureSize, Signature, SignatureSize) != 0)
        return fail();
    for (;;) {
        // A chunk is its length, its type, its bytes and a checksum; always in network order.
        if (!skip(8))
            return false;
        const char *chunk = m_data + m_position - 8;
        if (!skip(qint64(qFromBigEndian<quint32>(chunk)) + 4))
            return false;
        if (std::memcmp(chunk + 4, "IEND", 4) == 0)
            return true;
    }
}

bool WireCursor::skipImage()
{
    quint32 present = 0;
    return read(present) && (present == 0 || skipPng());
}

bool WireCursor::skipPixmapEngine()
{
    // Image, file name, size, mode, state.
    quint32 count = 0;
    if (!readCount(count, 4 + 4 + 8 + 4 + 4))
        return false;
    for (quint32 i = 0; i < count; ++i) {
        if (!skipImage() || !skipString() || !skip(16))
            return false;
    }
    return true;
}

bool WireCursor::skipSvgEngine()
{
    // File names and compressed documents by state, then pixmaps if a flag says so.
    quint32 count = 0;
    if (!readCount(count, 8))
        return false;
    for (quint32 i = 0; i < count; ++i) {
        if (!skip(4) || !skipString())
            return false;
    }
    if (!skip(4) || !readCount(count, 8))
        return false;
    for (quint32 i = 0; i < count; ++i) {
        if (!skip(4) || !skipByteArray())
            return false;
    }
    quint32 hasPixmaps = 0;
    if (!read(hasPixmaps))
        return false;
    if (hasPixmaps == 0)
        return true;
    if (!readCount(count, 8))
        return false;
    for (quint32 i = 0; i < count; ++i) {
        if (!skip(4) || !skipImage())
            return false;
    }
    return true;
}

bool WireCursor::skipIcon()
{
    const qint64 start = m_position;
    if (!skipString())
        return false;
    // Compared where it stands: there is an icon with every property.
    const qint64 length = (m_position - start - 4) / 2;
    const auto isEngine = [&](std::string_view name) {
        if (length != qint64(name.size()))
            return false;
        for (qint64 i = 0; i < length; ++i) {
            if (number<quint16>(m_data + start + 4 + 2 * i) != uchar(name[std::size_t(i)]))
                return false;
        }
        return true;
    };
    if (length == 0)
        return true;
    if (isEngine("QIconLoaderEngine"))
        return skipString();
    if (isEngine("QPixmapIconEngine"))
        return skipPixmapEngine();
    if (isEngine("svg"))
        return skipSvgEngine();
    return fail();
}

} // namespace CommonNOX
