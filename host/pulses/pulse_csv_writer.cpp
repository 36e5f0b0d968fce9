#include "host/pulses/pulse_csv_writer.h"

#include "host/pulses/pulse_csv_columns.h"

#include <charconv>

namespace NoxHost
{

namespace
{

template <class Number>
void append(std::string &text, Number value, char end = ',')
{
    // The shortest text that gives the same number.
    char digits[32];
    const auto result = std::to_chars(std::begin(digits), std::end(digits), value);
    text.append(digits, result.ptr);
    text += end;
}

} // namespace

std::string pulseCsvHeader()
{
    std::string header;
    for (const PulseCsv::ColumnRule &rule : PulseCsv::ColumnRules)
        header.append(rule.name).append(1, ',');
    header.back() = '\n';
    return header;
}

void appendPulseCsv(const RawPeriod &period, std::string &text)
{
    std::string begin;
    append(begin, period.channel);
    append(begin, period.index);
    append(begin, period.startTicks);
    append(begin, period.endTicks);
    append(begin, period.sampleRate);
    append(begin, period.pdHardwareCorrection);
    append(begin, period.pdCalibration);
    append(begin, period.tvHardwareCorrection);
    append(begin, period.tvCalibration);
    append(begin, period.flags);
    for (const auto &peak : period.peaks) {
        text += begin;
        append(text, peak.time);
        append(text, peak.amplitude);
        append(text, peak.voltage);
        append(text, unsigned(peak.flags), '\n');
    }
    if (period.peaks.isEmpty())
        text.append(begin).append(",,,\n");
}

} // namespace NoxHost
