#include "host/pulses/line_reader.h"

#include "host/terminal/interruption.h"

#include <QFile>
#include <QIODevice>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace NoxHost
{

namespace
{

// One byte more than the longest line, for the CR of its end.
constexpr qsizetype LongestRest = LineReader::MaximumLineLength + 1;

} // namespace

// The slack of a second line makes moving the rest to the front rare, however small the blocks are.
LineReader::LineReader(qsizetype blockSize)
    : m_blockSize(std::max<qsizetype>(blockSize, 1)), m_capacity(m_blockSize + 2 * LongestRest),
      m_buffer(new char[std::size_t(m_capacity)])
{}

LineReader::~LineReader()
{
    close();
}

bool LineReader::openFile(const QString &path)
{
    close();
    // Not QFile: it reads on until its block is full, which holds back the lines of a slow pipe.
    m_fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    struct stat info = {};
    if (m_fd < 0 || ::fstat(m_fd, &info) != 0) {
        m_failure = qt_error_string(errno);
        return false;
    }
    if (S_ISDIR(info.st_mode)) {
        m_failure = qt_error_string(EISDIR);
        return false;
    }
    m_atEnd = false;
    return true;
}

void LineReader::openDevice(QIODevice *device)
{
    close();
    m_device = device;
    m_atEnd = false;
}

void LineReader::close()
{
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
    m_device = nullptr;
    m_begin = m_scanned = m_end = 0;
    m_nul = m_nulInLine = -1;
    m_lineNumber = 0;
    m_bytesRead = 0;
    m_atEnd = true;
    m_failure.clear();
}

LineReader::Status LineReader::next(std::string_view &line)
{
    while (true) {
        const void *found =
            m_scanned < m_end ? std::memchr(m_buffer.get() + m_scanned, '\n', std::size_t(m_end - m_scanned)) : nullptr;
        if (found)
            return finishLine(static_cast<const char *>(found) - m_buffer.get(), line);
        m_scanned = m_end;
        if (m_end - m_begin > LongestRest || (m_atEnd && m_begin < m_end))
            return finishLine(m_end, line);
        if (m_atEnd)
            return Status::End;
        if (!fill()) {
            ++m_lineNumber;
            return Status::Failed;
        }
    }
}

LineReader::Status LineReader::finishLine(qsizetype lineEnd, std::string_view &line)
{
    const qsizetype begin = m_begin;
    ++m_lineNumber;
    m_begin = m_scanned = std::min(lineEnd + 1, m_end);
    line = std::string_view(m_buffer.get() + begin, std::size_t(lineEnd - begin));
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    if (qsizetype(line.size()) > MaximumLineLength)
        return Status::TooLong;
    if (m_nul >= 0 && m_nul < lineEnd) {
        m_nulInLine = m_nul - begin;
        return Status::NulByte;
    }
    return Status::Line;
}

bool LineReader::fill()
{
    if (m_capacity - m_end < m_blockSize) {
        std::memmove(m_buffer.get(), m_buffer.get() + m_begin, std::size_t(m_end - m_begin));
        if (m_nul >= 0)
            m_nul -= m_begin;
        m_scanned -= m_begin;
        m_end -= m_begin;
        m_begin = 0;
    }
    char *to = m_buffer.get() + m_end;
    const qint64 size = readBytes(to, m_blockSize);
    if (size < 0)
        return false;
    m_atEnd = size == 0;
    // Once a block instead of once a line: the first byte 0 stops the reading anyway.
    if (m_nul < 0 && size > 0) {
        if (const void *nul = std::memchr(to, 0, std::size_t(size)))
            m_nul = static_cast<const char *>(nul) - m_buffer.get();
    }
    m_end += size;
    return true;
}

qint64 LineReader::readBytes(char *to, qsizetype size)
{
    if (m_device) {
        const qint64 count = m_device->read(to, size);
        if (count < 0)
            m_failure = m_device->errorString();
        return count;
    }
    ssize_t count = 0;
    do {
        count = ::read(m_fd, to, std::size_t(size));
    } while (count < 0 && errno == EINTR && !isInterrupted());
    if (count < 0)
        m_failure = qt_error_string(errno);
    else
        m_bytesRead += quint64(count);
    return count;
}

} // namespace NoxHost
