#pragma once

#include <QByteArray>

#include <deque>

namespace NoxHost
{

/// Bytes that wait for a socket, in pieces of one size: the memory is that of the bytes, whatever the lines' lengths.
/// A socket's own buffer may take twice as much.
class SendQueue
{
public:
    void append(const QByteArray &bytes);
    /// The oldest bytes; empty when there are none.
    QByteArray take();
    qint64 size() const { return m_size; }
    void clear();

private:
    static constexpr int PieceSize = 64 * 1024;

    std::deque<QByteArray> m_pieces;
    qint64 m_size = 0;
};

} // namespace NoxHost
