#pragma once

#include "host/pulses/line_reader.h"

#include <optional>

namespace NoxHost
{

/// Reads test voltages for periods from a file with the header `period,voltage`: a line a period index, ascending;
/// lines that begin with `#` and empty ones are skipped. Memory does not grow with the file. One thread.
class VoltageCsvReader
{
public:
    VoltageCsvReader();
    ~VoltageCsvReader();

    /// Opens the file and reads up to its first voltage. False with getError() set.
    bool open(const QString &path);
    /// The voltage in force for a period: that of the last line whose index is not above it, NaN before the first.
    /// Indices must not descend from call to call. Nothing, with getError() set, when a line on the way is faulty.
    std::optional<double> voltageFor(quint64 period);
    /// One sentence, `FILE:LINE: ... .`; empty while there is none.
    QString getError() const { return m_error; }

private:
    struct Line
    {
        quint64 period;
        double voltage;
    };
    bool readHeader();
    /// Reads the next line into m_next, which is empty at the end.
    bool advance();
    bool nextText(std::string_view &text, bool &isEnd);
    bool fail(const QString &sentence);

    LineReader m_lines;
    QString m_name;
    QString m_error;
    double m_voltage;
    std::optional<quint64> m_lastPeriod;
    std::optional<Line> m_next;
};

} // namespace NoxHost
