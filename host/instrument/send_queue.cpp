#include "host/instrument/send_queue.h"

#include <algorithm>

namespace NoxHost
{

void SendQueue::append(const QByteArray &bytes)
{
    for (int from = 0; from < bytes.size();) {
        if (m_pieces.empty() || m_pieces.back().size() == PieceSize)
            m_pieces.emplace_back().reserve(PieceSize);
        QByteArray &last = m_pieces.back();
        const int count = std::min(PieceSize - last.size(), bytes.size() - from);
        last.append(bytes.constData() + from, count);
        from += count;
    }
    m_size += bytes.size();
}

QByteArray SendQueue::take()
{
    if (m_pieces.empty())
        return {};
    const QByteArray first = m_pieces.front();
    m_pieces.pop_front();
    m_size -= first.size();
    return first;
}

void SendQueue::clear()
{
    m_pieces.clear();
    m_pieces.shrink_to_fit();
    m_size = 0;
}

} // namespace NoxHost
