#pragma once

#include <QString>

#include <cstdio>
#include <string>

namespace NoxHost
{

/// Buffered writing to a stream of the process that notices when it can no longer be written.
class Output
{
public:
    explicit Output(std::FILE *stream);
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;
    ~Output();

    void write(const std::string &text);
    void flush();
    /// The system's reason after the first failure; empty while everything was written.
    QString getError() const { return m_error; }

private:
    static constexpr std::size_t BufferSize = 64 * 1024;

    std::FILE *m_stream;
    std::string m_buffer;
    QString m_error;
};

/// Whether a person watches the stream.
bool isTerminal(std::FILE *stream);

/// One line on standard error that replaces itself, at most ten times a second. Nothing unless it is a terminal.
class ProgressLine
{
public:
    ProgressLine();
    ProgressLine(const ProgressLine &) = delete;
    ProgressLine &operator=(const ProgressLine &) = delete;
    ~ProgressLine();

    /// Whether it is time to show something new.
    bool isDue();
    /// `done` is the part from 0 to 1 that is finished; negative when nobody knows.
    void show(double done, const QString &text);
    void clear();

private:
    const bool m_isTerminal;
    bool m_isShown = false;
    long long m_nextMs = 0;
};

} // namespace NoxHost
