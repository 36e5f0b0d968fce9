#pragma once

#include <QString>
#include <memory>
#include <string_view>

class QIODevice;

namespace NoxHost
{

/// Splits a file, a pipe or a device into lines without holding more than a block and the longest line.
///
/// A line ends at LF or CR LF; the last one needs no end. Not thread-safe; reading blocks until bytes are there, but
/// never waits for a full block, so that lines of a pipe come out when they are written.
class LineReader
{
public:
    enum class Status {
        Line,
        End,     ///< no more lines
        TooLong, ///< the line has more than MaximumLineLength bytes without its end
        NulByte, ///< the line holds a byte 0, see nulPosition()
        Failed   ///< the source cannot be read on, see failure()
    };

    static constexpr qsizetype MaximumLineLength = 64 * 1024;

    /// @p blockSize is the largest number of bytes read at once; values below 1 count as 1.
    explicit LineReader(qsizetype blockSize);
    ~LineReader();
    LineReader(const LineReader &) = delete;
    LineReader &operator=(const LineReader &) = delete;

    /// Starts over with the file at @p path. False with failure() set when it is a directory or cannot be opened.
    bool openFile(const QString &path);
    /// Starts over with an open @p device, which must outlive the reading. It answers 0 bytes only at its end.
    void openDevice(QIODevice *device);
    void close();

    /// On Status::Line, @p line is the next line without its end, valid until the next call. After any other status
    /// but End, reading on is not meaningful.
    Status next(std::string_view &line);

    quint64 lineNumber() const { return m_lineNumber; }   ///< of the line last read or tried, from 1
    qsizetype nulPosition() const { return m_nulInLine; } ///< offset in bytes within the line, after Status::NulByte
    quint64 bytesRead() const { return m_bytesRead; }     ///< from a file, since it was opened
    QString failure() const { return m_failure; }         ///< the system's reason

private:
    bool fill();
    qint64 readBytes(char *to, qsizetype size);
    Status finishLine(qsizetype lineEnd, std::string_view &line);

    const qsizetype m_blockSize;
    const qsizetype m_capacity;
    const std::unique_ptr<char[]> m_buffer;
    qsizetype m_begin = 0;   // of the line under way
    qsizetype m_scanned = 0; // no LF between m_begin and here
    qsizetype m_end = 0;
    qsizetype m_nul = -1; // the first byte 0 in the buffer
    qsizetype m_nulInLine = -1;
    quint64 m_lineNumber = 0;
    quint64 m_bytesRead = 0;
    bool m_atEnd = true;
    int m_fd = -1;
    QIODevice *m_device = nullptr;
    QString m_failure;
};

} // namespace NoxHost
