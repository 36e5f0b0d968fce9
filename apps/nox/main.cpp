#include "apps/nox/command.h"
#include "host/terminal/interruption.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <iterator>

namespace
{

using namespace Nox;

constexpr Command Commands[] = {
    {"evaluate", "evaluate pulses from a file", &runEvaluate},
    {"measure", "measure on an instrument", &runMeasure},
    {"info", "tell what is in a recording", &runInfo},
    {"replay", "play a recording back", &runReplay},
    {"export", "write what a recording holds as CSV", &runExport},
    {"import", "make a recording of pulses from a file", &runImport},
    {"repair", "bring back what is intact of a damaged recording", &runRepair},
    {"simulate", "be a simulated instrument on the network", &runSimulate},
    {"update", "update an instrument's software", &runUpdate},
    {"discover", "list instruments and other devices on the network", &runDiscover},
    {"entries", "list the catalogue of entry classes", &runEntries},
};

void printHelp(std::FILE *stream)
{
    std::fputs("Usage: nox COMMAND [options]\n\n"
               "Partial-discharge measurement and evaluation.\n\nCommands:\n",
               stream);
    for (const Command &command : Commands)
        std::fprintf(stream, "  %-10s  %s\n", command.name, command.summary);
    std::fputs("\n\"nox COMMAND --help\" tells more; \"nox --version\" tells the version.\n"
               "\nExample:\n  nox evaluate pulses.csv\n",
               stream);
}

/// Log lines go to standard error, one line each. The library's lines of level info show only with --verbose.
void printLogLine(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    static const char *const levels[] = {"debug", "warning", "error", "fatal", "info"};
    std::fprintf(stderr, "nox: %s: %s\n", levels[type], qUtf8Printable(toOneLine(text)));
}

} // namespace

int main(int argc, char **argv)
{
    qInstallMessageHandler(printLogLine);
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("nox"));
    QCoreApplication::setApplicationVersion(QStringLiteral(NOX_VERSION));
    NoxHost::installInterruptionHandlers();
    // A file that may not grow any more is an error like a full disk, not the end of the program.
    std::signal(SIGXFSZ, SIG_IGN);

    QStringList words = application.arguments().mid(1);
    if (!words.contains(QStringLiteral("--verbose")))
        QLoggingCategory::setFilterRules(QStringLiteral("*.info=false\n*.debug=false"));
    const QString name = words.isEmpty() ? QString() : words.takeFirst();
    if (name == QLatin1String("--help") || name == QLatin1String("-h") || name == QLatin1String("help")) {
        printHelp(stdout);
        return Done;
    }
    if (name == QLatin1String("--version") || name == QLatin1String("-v")) {
        std::printf("nox %s\n", NOX_VERSION);
        return Done;
    }
    const auto command = std::find_if(std::begin(Commands), std::end(Commands),
                                      [&](const Command &known) { return name == QLatin1String(known.name); });
    if (command != std::end(Commands))
        return command->run(words);
    if (name.isEmpty())
        printHelp(stderr);
    else
        printMessage(QStringLiteral("there is no command \"%1\", see \"nox --help\".").arg(name.simplified()));
    return WrongUsage;
}
