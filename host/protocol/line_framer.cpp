#include "host/protocol/line_framer.h"

namespace NoxHost
{

void LineFramer::feed(const QByteArray &bytes)
{
    if (m_begin == m_bytes.size()) {
        // The rule: what came before has been taken, and nothing is copied.
        m_bytes = bytes;
    } else {
        m_bytes.remove(0, m_begin);
        m_bytes.append(bytes);
    }
    m_scanned -= m_begin;
    m_begin = 0;
    m_scanned = qMax(0, m_scanned);
}

std::optional<LineFramer::Line> LineFramer::take()
{
    while (true) {
        const int end = m_bytes.indexOf('\n', m_scanned);
        const int length = (end < 0 ? m_bytes.size() : end) - m_begin;
        const bool isTooLong = m_isSkipping || length > Wire::MaximumLineBytes;
        if (end < 0) {
            m_scanned = m_bytes.size();
            if (isTooLong) {
                m_isSkipping = true;
                clear();
            }
            return std::nullopt;
        }
        Line line{isTooLong ? QByteArray() : m_bytes.mid(m_begin, length), isTooLong};
        m_begin = m_scanned = end + 1;
        m_isSkipping = false;
        if (line.bytes.endsWith('\r'))
            line.bytes.chop(1);
        if (line.isTooLong || !line.bytes.isEmpty())
            return line;
    }
}

void LineFramer::clear()
{
    m_bytes.clear();
    m_begin = m_scanned = 0;
}

} // namespace NoxHost
