#include "apps/nox/command.h"
#include "host/terminal/interruption.h"

#include <QApplication>
#include <QLoggingCategory>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <iterator>
#include <memory>

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
    {"pattern", "draw the phase-resolved pattern of pulses", &runPattern, true},
    {"shot", "clean and measure the samples of a damped-AC shot", &runShot, true},
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
    QStringList words;
    for (int i = 1; i < argc; ++i)
        words.append(QString::fromLocal8Bit(argv[i]));
    const QString name = words.isEmpty() ? QString() : words.first();
    const auto command = std::find_if(std::begin(Commands), std::end(Commands),
                                      [&](const Command &known) { return name == QLatin1String(known.name); });
    // Without the words: an application that draws takes some for its own.
    int count = std::min(argc, 1);
    std::unique_ptr<QCoreApplication> application;
    if (command != std::end(Commands) && command->draws) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        // What Qt says of the desktop that is not there is of no use to anybody, unless it cannot go on.
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &context, const QString &text) {
            if (type == QtFatalMsg)
                printLogLine(type, context, text);
        });
        application = std::make_unique<QApplication>(count, argv);
        qInstallMessageHandler(printLogLine);
    } else {
        application = std::make_unique<QCoreApplication>(count, argv);
    }
    QCoreApplication::setApplicationName(QStringLiteral("nox"));
    QCoreApplication::setApplicationVersion(QStringLiteral(NOX_VERSION));
    NoxHost::installInterruptionHandlers();
    // A file that may not grow any more is an error like a full disk, not the end of the program.
    std::signal(SIGXFSZ, SIG_IGN);

    if (!words.contains(QStringLiteral("--verbose")))
        QLoggingCategory::setFilterRules(QStringLiteral("*.info=false\n*.debug=false"));
    if (name == QLatin1String("--help") || name == QLatin1String("-h") || name == QLatin1String("help")) {
        printHelp(stdout);
        return Done;
    }
    if (name == QLatin1String("--version") || name == QLatin1String("-v")) {
        std::printf("nox %s\n", NOX_VERSION);
        return Done;
    }
    if (command != std::end(Commands))
        return command->run(words.mid(1));
    if (name.isEmpty())
        printHelp(stderr);
    else
        printMessage(QStringLiteral("there is no command \"%1\", see \"nox --help\".").arg(name.simplified()));
    return WrongUsage;
}
