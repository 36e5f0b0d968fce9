#pragma once

#include <QString>
#include <array>
#include <string_view>
#include <vector>

namespace NoxHost::PulseCsv
{

/// The required columns, in the order in which they are written. The first ten describe the period, the rest the pulse.
enum Column {
    Channel,
    Period,
    StartTicks,
    EndTicks,
    SampleRate,
    PdCorrection,
    PdCalibration,
    TvCorrection,
    TvCalibration,
    PeriodFlags,
    TimeTicks,
    Amplitude,
    Voltage,
    Flags,
    ColumnCount
};
inline constexpr int PeriodColumnCount = TimeTicks;

/// Name and range of a column. Columns without a range hold decimal numbers.
struct ColumnRule
{
    std::string_view name;
    bool isWhole = false;
    qint64 minimum = 0;
    qint64 maximum = 0;
};
extern const std::array<ColumnRule, ColumnCount> ColumnRules;

/// A fault within a line: where, and what is wrong, without the full stop.
struct Fault
{
    QString column; ///< a column's name, or a character position from 1
    QString text;
};

/// Where the required columns stand in the lines of one file.
struct Layout
{
    std::array<int, ColumnCount> place = {};
    std::vector<QString> names;      ///< of all columns, as they may be shown; empty for a column without a name
    bool periodColumnsFirst = false; ///< the first ten fields are the ten period columns, in any order
    bool pulseColumnsFollow = false; ///< and the rest are the four pulse columns in the order of Column
};

/// Reads the header line. False with @p fault set when a required column is missing or stands there twice.
bool readHeader(std::string_view line, Layout &layout, Fault &fault);

/// Appends the fields of @p text to @p fields, without the spaces and tabs around them.
void splitFields(std::string_view text, std::vector<std::string_view> &fields);
std::string_view trimmed(std::string_view text);

/// Values of one field. False with @p fault set when the field is empty, not of the column's type or out of its range.
bool readWhole(Column column, std::string_view field, qint64 &value, Fault &fault);
bool readDecimal(Column column, std::string_view field, double &value, Fault &fault);

Fault faultAt(Column column, const QString &text);
/// The fault at a byte of a line; it is shown as a count of characters.
Fault faultAt(std::string_view line, qsizetype byte, const QString &text);

/// Foreign text in quotation marks: at most 40 characters, with what a terminal would not print escaped.
QString quoted(std::string_view text);
/// The same escapes without marks or limit, for file names.
QString escaped(const QString &text);

} // namespace NoxHost::PulseCsv
