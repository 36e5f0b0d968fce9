#include "host/pulses/pulse_csv_reader.h"

#include <algorithm>
#include <charconv>

namespace NoxHost
{

using namespace PulseCsv;

namespace
{

constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";

bool isWithin(Column column, qint64 value)
{
    return value >= ColumnRules[column].minimum && value <= ColumnRules[column].maximum;
}

bool isOutsidePeriod(const RawPeriod &period, qint64 time)
{
    return period.endTicks > period.startTicks && (time < period.startTicks || time > period.endTicks);
}

// The first period column in which two rows do not agree, or ColumnCount.
Column firstDifference(const RawPeriod &a, const RawPeriod &b)
{
    const std::array<bool, PeriodColumnCount> same = {a.channel == b.channel,
                                                      a.index == b.index,
                                                      a.startTicks == b.startTicks,
                                                      a.endTicks == b.endTicks,
                                                      a.sampleRate == b.sampleRate,
                                                      a.pdHardwareCorrection == b.pdHardwareCorrection,
                                                      a.pdCalibration == b.pdCalibration,
                                                      a.tvHardwareCorrection == b.tvHardwareCorrection,
                                                      a.tvCalibration == b.tvCalibration,
                                                      a.flags == b.flags};
    const auto found = std::find(same.begin(), same.end(), false);
    return found == same.end() ? ColumnCount : Column(found - same.begin());
}

template <typename T>
bool readUntil(const char *&at, const char *end, T &value)
{
    const auto [rest, error] = std::from_chars(at, end, value);
    at = rest;
    return error == std::errc();
}

bool skipComma(const char *&at, const char *end)
{
    return at != end && *at++ == ',';
}

} // namespace

PulseCsvReader::PulseCsvReader(qsizetype blockSize) : m_lines(blockSize) {}

bool PulseCsvReader::open(const QString &path)
{
    m_name = escaped(path);
    m_wasOpened = true;
    if (m_lines.openFile(path))
        return readHeaderLine();
    m_error = QStringLiteral("%1: cannot be opened: %2.").arg(m_name, m_lines.failure());
    return false;
}

bool PulseCsvReader::open(QIODevice *device, const QString &name)
{
    m_name = escaped(name);
    m_wasOpened = true;
    m_lines.openDevice(device);
    return readHeaderLine();
}

bool PulseCsvReader::readHeaderLine()
{
    m_error.clear();
    m_hasCurrent = false;
    m_lastIndexOfChannel.clear();
    m_doubtedFrom.reset();
    std::string_view line;
    Fault fault;
    if (nextDataLine(line))
        return readHeader(line, m_layout, fault) || fail(fault, m_lines.lineNumber());
    if (m_error.isEmpty())
        fail(faultAt({}, 0, QStringLiteral("the file holds no header")), m_lines.lineNumber() + 1);
    return false;
}

PulseCsvResult PulseCsvReader::next()
{
    using Kind = PulseCsvResult::Kind;
    if (!m_wasOpened)
        m_error = QStringLiteral("No pulse file is open.");
    std::string_view line;
    while (m_error.isEmpty()) {
        if (nextDataLine(line)) {
            RawPeriod complete;
            if (!takePlainPulse(line) && takeRow(line, complete))
                return {Kind::Period, std::move(complete), {}, {}};
        } else if (!m_error.isEmpty()) {
            break;
        } else if (m_hasCurrent) {
            return {Kind::Period, release(), {}, {}};
        } else if (m_lastIndexOfChannel.empty()) {
            fail(faultAt({}, 0, QStringLiteral("the file holds no rows")), m_lines.lineNumber() + 1);
        } else {
            return {};
        }
    }
    return {Kind::Error, {}, m_error, m_doubtedFrom};
}

// The next line that is neither blank nor a comment; false at the end or with m_error set.
bool PulseCsvReader::nextDataLine(std::string_view &line)
{
    while (true) {
        const LineReader::Status status = m_lines.next(line);
        switch (status) {
        case LineReader::Status::Line:
            break;
        case LineReader::Status::End:
            return false;
        case LineReader::Status::TooLong:
            return fail(faultAt(line, LineReader::MaximumLineLength,
                                QStringLiteral("the line is longer than %1 bytes").arg(LineReader::MaximumLineLength)),
                        m_lines.lineNumber());
        case LineReader::Status::NulByte:
            return fail(faultAt(line, m_lines.nulPosition(), QStringLiteral("a NUL byte has no place in text")),
                        m_lines.lineNumber());
        case LineReader::Status::Failed:
            return fail({QStringLiteral("1"),
                         QStringLiteral("the file cannot be read on (%1)").arg(escaped(m_lines.failure()))},
                        m_lines.lineNumber());
        }
        if (m_lines.lineNumber() == 1 && line.substr(0, ByteOrderMark.size()) == ByteOrderMark)
            line.remove_prefix(ByteOrderMark.size());
        // Nearly every line begins with a digit.
        if (!line.empty() && line.front() > ' ' && line.front() != '#')
            return true;
        const std::string_view text = trimmed(line);
        if (!text.empty() && text.front() != '#')
            return true;
    }
}

bool PulseCsvReader::startsLikeCurrent(std::string_view line) const
{
    return m_hasCurrent && !m_start.empty() && line.substr(0, m_start.size()) == m_start;
}

// The short way for nearly all rows: one more pulse of the current period, written without a flourish. Whatever it
// refuses, faulty or only unusual, takeRow() judges.
bool PulseCsvReader::takePlainPulse(std::string_view line)
{
    if (!m_layout.pulseColumnsFollow || m_currentIsEmpty || m_pulses.size() >= MaximumPulsesPerPeriod ||
        !startsLikeCurrent(line))
        return false;
    const char *at = line.data() + m_start.size();
    const char *end = line.data() + line.size();
    PeakData pulse;
    if (!readUntil(at, end, pulse.time) || !skipComma(at, end) || !readUntil(at, end, pulse.amplitude) ||
        !skipComma(at, end) || !readUntil(at, end, pulse.voltage) || !skipComma(at, end) ||
        !readUntil(at, end, pulse.flags) || at != end)
        return false;
    if (!isWithin(TimeTicks, pulse.time) || isOutsidePeriod(m_current, pulse.time))
        return false;
    m_pulses.push_back(pulse);
    return true;
}

// True with @p complete set when the row shows that the current period is complete, even if the row itself is faulty.
bool PulseCsvReader::takeRow(std::string_view line, RawPeriod &complete)
{
    const bool isCurrent = startsLikeCurrent(line);
    m_fields.clear();
    if (isCurrent)
        m_fields.resize(PeriodColumnCount);
    splitFields(line.substr(isCurrent ? m_start.size() : 0), m_fields);
    const bool completes = m_hasCurrent && !isCurrent && namesOtherPeriod();
    if (completes)
        complete = release();
    Fault fault;
    if (!readRow(line, isCurrent, fault))
        fail(fault, m_lines.lineNumber());
    return completes;
}

bool PulseCsvReader::readRow(std::string_view line, bool isCurrent, Fault &fault)
{
    if (!checkFieldCount(line, fault))
        return false;
    if (!isCurrent) {
        RawPeriod period;
        if (!readPeriod(period, fault) || !(m_hasCurrent ? checkCurrent(period, fault) : startPeriod(period, fault)))
            return false;
        if (m_layout.periodColumnsFirst)
            m_start = line.substr(0, std::size_t(m_fields[PeriodColumnCount].data() - line.data()));
    }
    return takePulse(fault);
}

bool PulseCsvReader::namesOtherPeriod() const
{
    const auto last = std::size_t(std::max(m_layout.place[Channel], m_layout.place[Period]));
    qint64 channel = 0;
    qint64 index = 0;
    Fault ignored;
    return last < m_fields.size() && readWhole(Channel, field(Channel), channel, ignored) &&
           readWhole(Period, field(Period), index, ignored) &&
           (channel != m_current.channel || quint64(index) != m_current.index);
}

bool PulseCsvReader::checkFieldCount(std::string_view line, Fault &fault) const
{
    const std::size_t expected = m_layout.names.size();
    if (m_fields.size() == expected)
        return true;
    const QString text = QStringLiteral("the row has %1 fields, the header %2").arg(m_fields.size()).arg(expected);
    if (m_fields.size() > expected)
        fault = faultAt(line, m_fields[expected].data() - line.data(), text);
    else if (m_layout.names[m_fields.size()].isEmpty())
        fault = faultAt(line, qsizetype(line.size()), text);
    else
        fault = {m_layout.names[m_fields.size()], text};
    return false;
}

bool PulseCsvReader::readPeriod(RawPeriod &period, Fault &fault) const
{
    std::array<qint64, PeriodColumnCount> whole = {};
    std::array<double, PeriodColumnCount> decimal = {};
    for (int i = 0; i < PeriodColumnCount; ++i) {
        const auto column = Column(i);
        if (!(ColumnRules[i].isWhole ? readWhole(column, field(column), whole[i], fault)
                                     : readDecimal(column, field(column), decimal[i], fault)))
            return false;
    }
    period.channel = qint32(whole[Channel]);
    period.index = quint64(whole[Period]);
    period.startTicks = whole[StartTicks];
    period.endTicks = whole[EndTicks];
    period.sampleRate = quint32(whole[SampleRate]);
    period.pdHardwareCorrection = decimal[PdCorrection];
    period.pdCalibration = decimal[PdCalibration];
    period.tvHardwareCorrection = decimal[TvCorrection];
    period.tvCalibration = decimal[TvCalibration];
    period.flags = quint32(whole[PeriodFlags]);
    return true;
}

bool PulseCsvReader::checkCurrent(const RawPeriod &period, Fault &fault) const
{
    const Column column = firstDifference(period, m_current);
    if (column == ColumnCount)
        return true;
    fault = faultAt(column, quoted(field(column)) + QStringLiteral(" differs from the rows of the period before"));
    return false;
}

bool PulseCsvReader::startPeriod(const RawPeriod &period, Fault &fault)
{
    const bool isFirst = m_lastIndexOfChannel.empty();
    if (!isFirst && period.index < m_lastIndex) {
        m_doubtedFrom = period.index;
        fault = faultAt(Period, QStringLiteral("%1 comes after period %2").arg(period.index).arg(m_lastIndex));
        return false;
    }
    const auto [last, isNew] = m_lastIndexOfChannel.try_emplace(period.channel, period.index);
    if (!isNew && last->second == period.index) {
        m_doubtedFrom = period.index;
        fault = faultAt(Period, QStringLiteral("the rows of period %1 of channel %2 do not stand together")
                                    .arg(period.index)
                                    .arg(period.channel));
        return false;
    }
    if (m_lastIndexOfChannel.size() > MaximumChannels) {
        fault = faultAt(Channel, QStringLiteral("the file has more than %1 channels").arg(MaximumChannels));
        return false;
    }
    last->second = m_lastIndex = period.index;
    m_current = period;
    m_hasCurrent = true;
    m_currentIsEmpty = false;
    m_pulses.clear();
    m_start.clear();
    return true;
}

bool PulseCsvReader::takePulse(Fault &fault)
{
    constexpr std::array<Column, 4> columns = {TimeTicks, Amplitude, Voltage, Flags};
    const bool isEmpty = std::all_of(columns.begin(), columns.end(), [this](Column c) { return field(c).empty(); });
    if (m_currentIsEmpty || (isEmpty && !m_pulses.empty())) {
        fault = faultAt(TimeTicks, QStringLiteral("a row without a pulse must be the only one of its period"));
        return false;
    }
    m_currentIsEmpty = isEmpty;
    if (isEmpty)
        return true;
    std::array<qint64, 4> values = {};
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (!readWhole(columns[i], field(columns[i]), values[i], fault))
            return false;
    }
    if (isOutsidePeriod(m_current, values[0])) {
        fault = faultAt(TimeTicks, QStringLiteral("%1 is outside its period, %2 to %3")
                                       .arg(values[0])
                                       .arg(m_current.startTicks)
                                       .arg(m_current.endTicks));
        return false;
    }
    if (m_pulses.size() >= MaximumPulsesPerPeriod) {
        fault = faultAt(TimeTicks, QStringLiteral("the period has more than %1 pulses").arg(MaximumPulsesPerPeriod));
        return false;
    }
    m_pulses.push_back({qint32(values[1]), qint32(values[2]), values[0], quint8(values[3])});
    return true;
}

RawPeriod PulseCsvReader::release()
{
    m_hasCurrent = false;
    RawPeriod period = std::move(m_current);
    period.peaks.resize(int(m_pulses.size()));
    std::copy(m_pulses.cbegin(), m_pulses.cend(), period.peaks.begin());
    return period;
}

// Always false. The current period goes with the faulty row.
bool PulseCsvReader::fail(const Fault &fault, quint64 lineNumber)
{
    m_hasCurrent = false;
    m_error = QStringLiteral("%1:%2: column %3: %4.").arg(m_name).arg(lineNumber).arg(fault.column, fault.text);
    return false;
}

} // namespace NoxHost
