#pragma once

#include "nox_export.h"

#include <QByteArray>
#include <QDataStream>
#include <QString>
#include <QtEndian>

#include <functional>

namespace CommonNOX
{

struct PayloadType;

/// Walks over bytes in QDataStream's format without decoding them.
///
/// Every operation checks what it needs against the bytes that remain, and turns the cursor bad when they do not
/// suffice; a bad cursor stays where it is and answers false. Streams written by Qt 5.2 and later, either byte
/// order and precision.
class NOX_EXPORT WireCursor
{
public:
    /// Nested lists, maps and entries deeper than this are refused: Qt decodes by recursion.
    static constexpr int MaximumDepth = 64;
    /// Bytes of the shortest variant: its type and its null flag.
    static constexpr qint64 SmallestVariant = 5;

    enum class State {
        Good,
        PastEnd, ///< more bytes might have made it good
        Corrupt, ///< no further byte could
    };

    WireCursor(const char *data, qint64 size, const QDataStream &format);

    State getState() const { return m_state; }
    qint64 getPosition() const { return m_position; }
    qint64 getRemaining() const { return m_size - m_position; }
    const char *getData() const { return m_data + m_position; }
    int getRealSize() const { return m_realSize; }
    bool isBigEndian() const { return m_bigEndian; }

    bool fail(State state = State::Corrupt);
    bool skip(qint64 bytes);
    bool read(quint8 &value);
    bool read(quint32 &value);
    bool read(qint64 &value);
    bool read(QString &value);
    /// Whether a string comes next that is this text; nothing is read.
    bool startsWithString(const QString &text) const;
    /// Reads an unsigned 32-bit count and refuses one that the remaining bytes cannot hold.
    bool readCount(quint32 &count, qint64 smallestElement);

    bool skipString();
    bool skipByteArray();
    /// A QVariant with its type: known types only.
    bool skipVariant();
    /// Reads the name of a user type; what is registered of it, or null and a bad cursor.
    const PayloadType *readPayloadType();
    /// A QIcon, pixels included.
    bool skipIcon();

    /// Counts one level of nesting while it lives.
    class Level
    {
    public:
        explicit Level(WireCursor &cursor) : m_cursor(cursor) { ++m_cursor.m_depth; }
        Level(const Level &) = delete;
        Level &operator=(const Level &) = delete;
        ~Level() { --m_cursor.m_depth; }
        explicit operator bool() const { return m_cursor.m_depth <= MaximumDepth || m_cursor.fail(); }

    private:
        WireCursor &m_cursor;
    };

private:
    static constexpr quint32 NullLength = 0xffffffff;

    template <class T>
    T number(const char *data) const
    {
        return m_bigEndian ? qFromBigEndian<T>(data) : qFromLittleEndian<T>(data);
    }
    bool skipPayload(quint32 type);
    bool skipCountedStrings();
    bool skipAssociations();
    bool skipDateTime();
    bool readZone(QString &zone);
    bool skipPng();
    bool skipImage();
    bool skipPixmapEngine();
    bool skipSvgEngine();

    const char *m_data;
    qint64 m_size;
    qint64 m_position = 0;
    State m_state = State::Good;
    int m_depth = 0;
    bool m_bigEndian;
    int m_realSize;
};

// The steps that a walk is made of, of which a block of periods takes thousands.

inline bool WireCursor::skip(qint64 bytes)
{
    if (m_state != State::Good)
        return false;
    if (bytes < 0)
        return fail();
    if (bytes > getRemaining())
        return fail(State::PastEnd);
    m_position += bytes;
    return true;
}

inline bool WireCursor::read(quint8 &value)
{
    if (!skip(1))
        return false;
    value = quint8(m_data[m_position - 1]);
    return true;
}

inline bool WireCursor::read(quint32 &value)
{
    if (!skip(4))
        return false;
    value = number<quint32>(m_data + m_position - 4);
    return true;
}

inline bool WireCursor::read(qint64 &value)
{
    if (!skip(8))
        return false;
    value = number<qint64>(m_data + m_position - 8);
    return true;
}

inline bool WireCursor::startsWithString(const QString &text) const
{
    const qint64 bytes = qint64(text.size()) * 2;
    if (getRemaining() < 4 + bytes || number<quint32>(m_data + m_position) != quint64(bytes))
        return false;
    const char *characters = m_data + m_position + 4;
    for (int i = 0; i < text.size(); ++i) {
        if (number<quint16>(characters + 2 * i) != text[i].unicode())
            return false;
    }
    return true;
}

inline bool WireCursor::skipString()
{
    quint32 length = 0;
    if (!read(length))
        return false;
    if (length == NullLength)
        return true;
    return length % 2 == 0 ? skip(length) : fail();
}

/// Skips the payload of a user type that stands in a variant; false and a bad cursor when it cannot be one.
using PayloadSkipper = std::function<bool(WireCursor &)>;
/// Decodes a payload that the skipper accepts, and moves behind it.
using PayloadDecoder = std::function<QVariant(WireCursor &, const QDataStream &format)>;

/// What reading needs to know of a user type.
struct PayloadType
{
    PayloadSkipper skip;
    PayloadDecoder decode; ///< may be empty: Qt's operators then decode
};

/// Makes a user type known to the reading of entries. `typeName` is its meta-type name; its stream operators must be
/// registered with Qt as well. A decoder saves the detour through a stream. False when the name is taken. Any thread.
NOX_EXPORT bool RegisterPayloadSkipper(const QByteArray &typeName, const PayloadSkipper &skipper,
                                       const PayloadDecoder &decoder = {});

/// Whether a variant's value can be written into an entry's stream and read back. `levels` are those of nesting
/// that are left.
NOX_EXPORT bool IsStreamable(const QVariant &value, int levels = WireCursor::MaximumDepth);

} // namespace CommonNOX
