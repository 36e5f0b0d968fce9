#pragma once

#include "host/protocol/message_names.h"

#include <QByteArray>

#include <optional>

namespace NoxHost
{

/// Cuts a stream of bytes into lines. Holds at most one unfinished line of MaximumLineBytes besides what was fed last.
class LineFramer
{
public:
    struct Line
    {
        QByteArray bytes;       ///< without its line end
        bool isTooLong = false; ///< the line was thrown away
    };

    void feed(const QByteArray &bytes);
    /// The next whole line, if there is one. Empty lines are skipped, a carriage return before the line end is cut.
    std::optional<Line> take();
    /// Bytes kept.
    int size() const { return m_bytes.size() - m_begin; }
    void clear();

private:
    QByteArray m_bytes;
    int m_begin = 0;   // of the first line that was not taken
    int m_scanned = 0; // no line end lies before it
    bool m_isSkipping = false;
};

} // namespace NoxHost
