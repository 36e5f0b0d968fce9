#include "host/pulses/pulse_csv_columns.h"

#include <QVector>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace NoxHost::PulseCsv
{

namespace
{

constexpr qint64 ExactLimit = qint64(1) << 53;
constexpr qint64 Int32Min = std::numeric_limits<qint32>::min();
constexpr qint64 Int32Max = std::numeric_limits<qint32>::max();
constexpr qint64 UInt32Max = std::numeric_limits<quint32>::max();
constexpr int LongestQuote = 40;

bool isSpace(char c)
{
    return c == ' ' || c == '\t';
}

QString nameOf(Column column)
{
    const std::string_view name = ColumnRules[column].name;
    return QString::fromLatin1(name.data(), int(name.size()));
}

// Half-open range of code points, escaped; a cut is marked.
QString escapedStart(const QString &text, int limit, bool quotes)
{
    QString out;
    int count = 0;
    for (const uint code : text.toUcs4()) {
        if (count++ == limit)
            return out + QStringLiteral("...");
        if (quotes && (code == '"' || code == '\\'))
            out += QLatin1Char('\\') + QString(QChar(code));
        else if (QChar::isPrint(code))
            out += QString::fromUcs4(&code, 1);
        else if (code == '\t')
            out += QStringLiteral("\\t");
        else if (code == '\n')
            out += QStringLiteral("\\n");
        else if (code == '\r')
            out += QStringLiteral("\\r");
        else
            out += QStringLiteral("\\u%1").arg(code, 4, 16, QLatin1Char('0'));
    }
    return out;
}

// std::from_chars knows no plus sign, which instruments print before positive pulses.
std::string_view withoutPlus(std::string_view field)
{
    if (field.size() > 1 && field[0] == '+' && field[1] != '-')
        field.remove_prefix(1);
    return field;
}

} // namespace

const std::array<ColumnRule, ColumnCount> ColumnRules = {{
    {"channel", true, 0, Int32Max},
    {"period", true, 0, ExactLimit},
    {"start_ticks", true, -ExactLimit, ExactLimit},
    {"end_ticks", true, -ExactLimit, ExactLimit},
    {"sample_rate", true, 0, UInt32Max},
    {"pd_correction"},
    {"pd_calibration"},
    {"tv_correction"},
    {"tv_calibration"},
    {"period_flags", true, 0, UInt32Max},
    {"time_ticks", true, -ExactLimit, ExactLimit},
    {"amplitude", true, Int32Min, Int32Max},
    {"voltage", true, Int32Min, Int32Max},
    {"flags", true, 0, 255},
}};

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && isSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

void splitFields(std::string_view text, std::vector<std::string_view> &fields)
{
    // Fields are so short that a call to find each comma costs more than this loop.
    std::size_t begin = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != ',')
            continue;
        fields.push_back(trimmed(text.substr(begin, i - begin)));
        begin = i + 1;
    }
    fields.push_back(trimmed(text.substr(begin)));
}

bool readHeader(std::string_view line, Layout &layout, Fault &fault)
{
    std::vector<std::string_view> fields;
    splitFields(line, fields);
    layout = Layout();
    layout.place.fill(-1);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        QString shown = quoted(fields[i]);
        layout.names.push_back(shown.mid(1, shown.size() - 2));
        const auto rule = std::find_if(ColumnRules.begin(), ColumnRules.end(),
                                       [&](const ColumnRule &each) { return each.name == fields[i]; });
        if (rule == ColumnRules.end())
            continue;
        const auto column = Column(rule - ColumnRules.begin());
        if (layout.place[column] >= 0) {
            fault = faultAt(column, QStringLiteral("the header names it twice"));
            return false;
        }
        layout.place[column] = int(i);
    }
    for (int column = 0; column < ColumnCount; ++column) {
        if (layout.place[column] < 0) {
            fault = faultAt(Column(column), QStringLiteral("the header does not name it"));
            return false;
        }
    }
    layout.periodColumnsFirst = std::all_of(layout.place.begin(), layout.place.begin() + PeriodColumnCount,
                                            [](int place) { return place < PeriodColumnCount; });
    layout.pulseColumnsFollow = layout.periodColumnsFirst && fields.size() == ColumnCount;
    for (int column = TimeTicks; column < ColumnCount; ++column)
        layout.pulseColumnsFollow = layout.pulseColumnsFollow && layout.place[column] == column;
    return true;
}

bool readWhole(Column column, std::string_view field, qint64 &value, Fault &fault)
{
    const ColumnRule &rule = ColumnRules[column];
    const std::string_view digits = withoutPlus(field);
    const char *end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, value);
    if (field.empty()) {
        fault = faultAt(column, QStringLiteral("the field is empty"));
        return false;
    }
    if (rest != end || error == std::errc::invalid_argument) {
        fault = faultAt(column, quoted(field) + QStringLiteral(" is not a whole number"));
        return false;
    }
    if (error != std::errc() || value < rule.minimum || value > rule.maximum) {
        fault =
            faultAt(column, quoted(field) + QStringLiteral(" is outside %1 to %2").arg(rule.minimum).arg(rule.maximum));
        return false;
    }
    return true;
}

bool readDecimal(Column column, std::string_view field, double &value, Fault &fault)
{
    const std::string_view digits = withoutPlus(field);
    const char *end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, value, std::chars_format::general);
    if (field.empty()) {
        fault = faultAt(column, QStringLiteral("the field is empty"));
        return false;
    }
    if (rest != end || error != std::errc() || !std::isfinite(value)) {
        fault = faultAt(column, quoted(field) + QStringLiteral(" is not a finite decimal number"));
        return false;
    }
    return true;
}

Fault faultAt(Column column, const QString &text)
{
    return {nameOf(column), text};
}

Fault faultAt(std::string_view line, qsizetype byte, const QString &text)
{
    // A character of UTF-8 has one byte that does not continue another.
    const auto isStart = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
    const auto before = std::count_if(line.begin(), line.begin() + std::min<qsizetype>(byte, line.size()), isStart);
    return {QString::number(before + 1), text};
}

QString quoted(std::string_view text)
{
    // A code point has at most four bytes; one more makes sure that a cut is seen.
    const auto size = std::min<std::size_t>(text.size(), 4 * (LongestQuote + 1));
    return QLatin1Char('"') + escapedStart(QString::fromUtf8(text.data(), int(size)), LongestQuote, true) +
           QLatin1Char('"');
}

QString escaped(const QString &text)
{
    return escapedStart(text, std::numeric_limits<int>::max(), false);
}

} // namespace NoxHost::PulseCsv
