#include "host/terminal/output.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <unistd.h>

namespace NoxHost
{

namespace
{

constexpr long long RefreshMs = 100;
constexpr int BarWidth = 24;

long long nowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace

Output::Output(std::FILE *stream) : m_stream(stream)
{
    m_buffer.reserve(BufferSize);
}

Output::~Output()
{
    flush();
}

void Output::write(const std::string &text)
{
    m_buffer += text;
    if (m_buffer.size() >= BufferSize)
        flush();
}

void Output::flush()
{
    if (m_error.isEmpty()) {
        errno = 0;
        const bool isWritten = std::fwrite(m_buffer.data(), 1, m_buffer.size(), m_stream) == m_buffer.size();
        if (!isWritten || std::fflush(m_stream) != 0)
            m_error = QString::fromLocal8Bit(std::strerror(errno));
    }
    m_buffer.clear();
}

bool isTerminal(std::FILE *stream)
{
    return isatty(fileno(stream)) != 0;
}

ProgressLine::ProgressLine() : m_isTerminal(isTerminal(stderr)) {}

ProgressLine::~ProgressLine()
{
    clear();
}

bool ProgressLine::isDue()
{
    return m_isTerminal && nowMs() >= m_nextMs;
}

void ProgressLine::show(double done, const QString &text)
{
    if (!m_isTerminal)
        return;
    m_nextMs = nowMs() + RefreshMs;
    m_isShown = true;
    std::string bar;
    if (done >= 0.0) {
        const int filled = int(std::clamp(done, 0.0, 1.0) * BarWidth);
        bar = '[' + std::string(std::size_t(filled), '#') + std::string(std::size_t(BarWidth - filled), ' ') + "] ";
    }
    std::fprintf(stderr, "\r\x1b[K%s%s", bar.c_str(), qUtf8Printable(text));
    std::fflush(stderr);
}

void ProgressLine::clear()
{
    if (!m_isShown)
        return;
    m_isShown = false;
    std::fputs("\r\x1b[K", stderr);
    std::fflush(stderr);
}

} // namespace NoxHost
