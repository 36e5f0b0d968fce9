#include "host/pulses/voltage_csv_reader.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace NoxHost
{

namespace
{

constexpr qsizetype BlockSize = 64 * 1024;

template <class Number>
bool readWhole(std::string_view text, Number &number)
{
    const char *const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    return result.ec == std::errc() && result.ptr == end;
}

} // namespace

VoltageCsvReader::VoltageCsvReader() : m_lines(BlockSize), m_voltage(std::numeric_limits<double>::quiet_NaN()) {}

VoltageCsvReader::~VoltageCsvReader() = default;

bool VoltageCsvReader::open(const QString &path)
{
    m_name = path;
    m_error.clear();
    m_voltage = std::numeric_limits<double>::quiet_NaN();
    m_lastPeriod.reset();
    m_next.reset();
    if (!m_lines.openFile(path)) {
        m_error = QStringLiteral("%1 cannot be read: %2.").arg(path, m_lines.failure());
        return false;
    }
    return readHeader() && advance();
}

std::optional<double> VoltageCsvReader::voltageFor(quint64 period)
{
    while (m_next && m_next->period <= period) {
        m_voltage = m_next->voltage;
        if (!advance())
            return std::nullopt;
    }
    return m_error.isEmpty() ? std::optional(m_voltage) : std::nullopt;
}

bool VoltageCsvReader::readHeader()
{
    std::string_view text;
    bool isEnd = false;
    if (!nextText(text, isEnd))
        return false;
    constexpr std::string_view ByteOrderMark = "\xef\xbb\xbf";
    if (text.substr(0, ByteOrderMark.size()) == ByteOrderMark)
        text.remove_prefix(ByteOrderMark.size());
    return (!isEnd && text == "period,voltage") || fail(QStringLiteral("the header is not \"period,voltage\""));
}

bool VoltageCsvReader::advance()
{
    m_next.reset();
    std::string_view text;
    bool isEnd = false;
    if (!nextText(text, isEnd))
        return false;
    if (isEnd)
        return true;
    const std::size_t comma = text.find(',');
    Line line{};
    if (comma == std::string_view::npos || !readWhole(text.substr(0, comma), line.period) ||
        !readWhole(text.substr(comma + 1), line.voltage) || !std::isfinite(line.voltage))
        return fail(QStringLiteral("this is not a period and a voltage"));
    if (m_lastPeriod && line.period <= *m_lastPeriod)
        return fail(QStringLiteral("period %1 does not come after %2").arg(line.period).arg(*m_lastPeriod));
    m_lastPeriod = line.period;
    m_next = line;
    return true;
}

bool VoltageCsvReader::nextText(std::string_view &text, bool &isEnd)
{
    for (;;) {
        switch (m_lines.next(text)) {
        case LineReader::Status::Line:
            if (text.empty() || text.front() == '#')
                continue;
            return true;
        case LineReader::Status::End:
            isEnd = true;
            return true;
        case LineReader::Status::TooLong:
            return fail(QStringLiteral("the line is too long"));
        case LineReader::Status::NulByte:
            return fail(QStringLiteral("the line holds a byte 0"));
        case LineReader::Status::Failed:
            return fail(QStringLiteral("the file cannot be read on: %1").arg(m_lines.failure()));
        }
    }
}

bool VoltageCsvReader::fail(const QString &sentence)
{
    m_error = QStringLiteral("%1:%2: %3.").arg(m_name, QString::number(m_lines.lineNumber()), sentence);
    return false;
}

} // namespace NoxHost
