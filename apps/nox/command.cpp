#include "apps/nox/command.h"

#include "host/terminal/output_file.h"

#include <cmath>
#include <cstdio>

namespace Nox
{

namespace
{

struct TimeUnit
{
    const char *suffix;
    double seconds;
};

// The longer suffixes first: "ms" ends with "s".
constexpr TimeUnit TimeUnits[] = {{"ms", 1e-3}, {"min", 60.0}, {"h", 3600.0}, {"s", 1.0}};

} // namespace

QString toOneLine(const QString &text)
{
    QString line = text.simplified();
    for (QChar &character : line) {
        if (!character.isPrint() && !character.isSurrogate())
            character = QLatin1Char('?');
    }
    return line;
}

void printMessage(const QString &sentence)
{
    std::fprintf(stderr, "nox: %s\n", qUtf8Printable(toOneLine(sentence)));
}

CommandLine::CommandLine(const QString &command, const QString &synopsis, const QString &description,
                         const QString &example)
    : m_command(command), m_example(example)
{
    m_parser.setApplicationDescription(description);
    m_parser.addHelpOption();
    m_parser.addOption({QStringLiteral("verbose"), QStringLiteral("Show the library's log lines of level info too.")});
    if (!synopsis.isEmpty())
        m_parser.addPositionalArgument(synopsis, QString(), synopsis);
}

std::optional<int> CommandLine::parse(const QStringList &arguments, int leastPositional, int mostPositional)
{
    const bool isParsed = m_parser.parse(QStringList(QStringLiteral("nox ") + m_command) + arguments);
    if (m_parser.isSet(QStringLiteral("help"))) {
        // Qt names the program's file in the first line; a subcommand is what was asked about.
        const QString help = m_parser.helpText();
        std::printf("Usage: nox %s%s\nExample:\n  %s\n", qUtf8Printable(m_command),
                    qUtf8Printable(help.mid(help.indexOf(QLatin1String(" [options]")))), qUtf8Printable(m_example));
        return Done;
    }
    if (!isParsed)
        complain(m_parser.errorText());
    const QStringList given = m_parser.positionalArguments();
    if (given.size() > mostPositional)
        complain(QStringLiteral("unexpected argument \"%1\".").arg(given[mostPositional]));
    else if (given.size() < leastPositional)
        complain(QStringLiteral("an argument is missing, see \"nox %1 --help\".").arg(m_command));
    return reportComplaint();
}

void CommandLine::complain(const QString &sentence)
{
    if (m_complaint.isEmpty())
        m_complaint = sentence;
}

void CommandLine::forbidReplacing(const QString &option, const QString &input)
{
    const QString output = m_parser.value(option);
    if (NoxHost::isSameFile(output, input))
        complain(QStringLiteral("%1: \"%2\" is the file that is read.")
                     .arg((option.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + option, output));
}

std::optional<int> CommandLine::reportComplaint() const
{
    if (m_complaint.isEmpty())
        return std::nullopt;
    printMessage(QStringLiteral("%1: %2").arg(m_command, m_complaint.simplified()));
    return WrongUsage;
}

std::optional<double> CommandLine::number(const QString &option, double lowest, double highest)
{
    if (!m_parser.isSet(option))
        return std::nullopt;
    bool isNumber = false;
    const double value = m_parser.value(option).toDouble(&isNumber);
    if (isNumber && std::isfinite(value) && value >= lowest && value <= highest)
        return value;
    complain(QStringLiteral("--%1: \"%2\" is not a number from %3 to %4.")
                 .arg(option, m_parser.value(option), QString::number(lowest), QString::number(highest)));
    return std::nullopt;
}

std::optional<qint64> CommandLine::wholeNumber(const QString &option, qint64 lowest, qint64 highest)
{
    if (!m_parser.isSet(option))
        return std::nullopt;
    bool isNumber = false;
    const qint64 value = m_parser.value(option).toLongLong(&isNumber);
    if (isNumber && value >= lowest && value <= highest)
        return value;
    complain(QStringLiteral("--%1: \"%2\" is not a whole number from %3 to %4.")
                 .arg(option, m_parser.value(option), QString::number(lowest), QString::number(highest)));
    return std::nullopt;
}

std::optional<double> readTime(const QString &words)
{
    QString text = words.trimmed();
    double factor = 1.0;
    for (const TimeUnit &unit : TimeUnits) {
        const QLatin1String suffix(unit.suffix);
        if (text.endsWith(suffix)) {
            text.chop(suffix.size());
            factor = unit.seconds;
            break;
        }
    }
    bool isNumber = false;
    const double value = text.toDouble(&isNumber) * factor;
    return isNumber && std::isfinite(value) && value >= 0.0 ? std::optional(value) : std::nullopt;
}

std::optional<double> CommandLine::duration(const QString &option)
{
    if (!m_parser.isSet(option))
        return std::nullopt;
    const auto value = readTime(m_parser.value(option));
    if (!value)
        complain(
            QStringLiteral("--%1: \"%2\" is not a time such as 10s or 500ms.").arg(option, m_parser.value(option)));
    return value;
}

} // namespace Nox
