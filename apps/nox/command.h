#pragma once

#include <QCommandLineParser>
#include <QString>
#include <QStringList>

#include <optional>

namespace Nox
{

/// What the process returns.
enum ExitStatus { Done = 0, Failed = 1, WrongUsage = 2 };

/// One subcommand.
struct Command
{
    const char *name;
    const char *summary;
    /// Takes the words after the subcommand's name; returns an ExitStatus.
    int (*run)(const QStringList &arguments);
    /// Whether it draws, for which it needs fonts and widgets, but no display.
    bool draws = false;
};

int runEvaluate(const QStringList &arguments);
int runMeasure(const QStringList &arguments);
int runReplay(const QStringList &arguments);
int runShot(const QStringList &arguments);
int runInfo(const QStringList &arguments);
int runExport(const QStringList &arguments);
int runImport(const QStringList &arguments);
int runRepair(const QStringList &arguments);
int runSimulate(const QStringList &arguments);
int runUpdate(const QStringList &arguments);
int runDiscover(const QStringList &arguments);
int runPattern(const QStringList &arguments);
int runEntries(const QStringList &arguments);

/// Fit for a terminal, whatever an instrument or a file may have put into it: no line ends, no control characters.
QString toOneLine(const QString &text);
/// A time such as `10s`, `500ms`, `2min` or a bare number of seconds, in seconds; nothing for anything else.
std::optional<double> readTime(const QString &words);
/// One sentence on standard error, behind the program's name.
void printMessage(const QString &sentence);

/// A parser of a subcommand's words with --help and --verbose.
///
/// `parse` shows the help (and gives Done) or says what is wrong in one sentence (and gives WrongUsage); without a
/// result the words are fine.
class CommandLine
{
public:
    /// `synopsis` is what follows the subcommand's name, `example` one line that works.
    CommandLine(const QString &command, const QString &synopsis, const QString &description, const QString &example);

    QCommandLineParser &parser() { return m_parser; }
    const QCommandLineParser &parser() const { return m_parser; }

    std::optional<int> parse(const QStringList &arguments, int leastPositional, int mostPositional);

    /// Keeps the first complaint about an option's value.
    void complain(const QString &sentence);
    /// Complains where what the option names would replace the file that is read.
    void forbidReplacing(const QString &option, const QString &input);
    /// The complaint as a message, if there was one.
    std::optional<int> reportComplaint() const;

    /// The option's value as a finite number within the limits; complains otherwise. Nothing when it is not given.
    std::optional<double> number(const QString &option, double lowest, double highest);
    std::optional<qint64> wholeNumber(const QString &option, qint64 lowest, qint64 highest);
    /// A time such as `10s`, `500ms`, `2min` or a bare number of seconds; the result is in seconds.
    std::optional<double> duration(const QString &option);

private:
    QString m_command;
    QString m_example;
    QString m_complaint;
    QCommandLineParser m_parser;
};

} // namespace Nox
