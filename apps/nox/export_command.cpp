#include "apps/nox/command.h"
#include "apps/nox/evaluator_options.h"
#include "apps/nox/measurement.h"
#include "apps/nox/recording_file.h"
#include "apps/nox/replay_options.h"
#include "host/replay/recorded_periods.h"
#include "host/replay/recording_tables.h"
#include "host/terminal/interruption.h"
#include "host/terminal/output_file.h"
#include "recording/replay/pd_replay_file_loader.h"

namespace Nox
{

using CommonNOX::Importer::PdReplayFileLoader;
using CommonNOX::Importer::ReplaySelection;

namespace
{

using Table = NoxHost::RecordingTable;

/// Writes what a recording holds as a table.
bool writeTable(Table::Kind kind, const std::shared_ptr<PdReplayFileLoader> &loader, const ReplaySelection &selection,
                std::FILE *stream, QString &error)
{
    NoxHost::Output output(stream);
    NoxHost::ProgressLine progress;
    const auto table = Table::Make(kind, loader, selection);
    output.write(table->getHeader());
    std::string rows;
    while (table->next(rows)) {
        output.write(rows);
        rows.clear();
        if (NoxHost::isInterrupted())
            error = QStringLiteral("interrupted.");
        else if (!output.getError().isEmpty())
            error = QStringLiteral("the table cannot be written: %1.").arg(output.getError());
        if (!error.isEmpty())
            return false;
        if (progress.isDue())
            progress.show(table->getDone(), QStringLiteral("exporting"));
    }
    output.flush();
    progress.clear();
    if (const QString losses = table->getLosses(); !losses.isEmpty())
        printMessage(losses + QLatin1Char('.'));
    if (!output.getError().isEmpty())
        error = QStringLiteral("the table cannot be written: %1.").arg(output.getError());
    return error.isEmpty();
}

/// Evaluates the recording as it was recorded.
int writeReadings(CommandLine &line, const QString &path, const ReplaySelection &selection, std::FILE *stream)
{
    EvaluatorOptions options(line, EvaluatorOptions::Criterion::GivenOrRecorded);
    if (options.format() == OutputFormat::Table)
        options.setFormat(OutputFormat::Csv);
    MeasurementPlan plan;
    plan.url = NoxHost::makeReplayUrl({path, 0.0, selection});
    plan.output = stream;
    return Measurement(plan, options).run();
}

} // namespace

int runExport(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("export"), QStringLiteral("FILE.pdr"),
        QStringLiteral("Writes what a recording holds as CSV: pulses, readings, voltage scopes, or settings "
                       "and marks."),
        QStringLiteral("nox export recording.pdr --pulses -o pulses.csv"));
    EvaluatorOptions::addTo(line);
    ReplayOptions::addTo(line);
    line.parser().addOptions(
        {{QStringLiteral("pulses"), QStringLiteral("The pulses, as \"nox evaluate\" reads them.")},
         {QStringLiteral("readings"), QStringLiteral("The readings, evaluated as they were when it was recorded.")},
         {QStringLiteral("scopes"), QStringLiteral("The samples of the test voltage.")},
         {QStringLiteral("actions"), QStringLiteral("The settings and marks, in order.")},
         {{QStringLiteral("o"), QStringLiteral("output-file")},
          QStringLiteral("Write into this file instead of standard output."),
          QStringLiteral("file")}});
    if (const auto status = line.parse(arguments, 1, 1))
        return *status;
    const std::pair<const char *, std::optional<Table::Kind>> kinds[] = {
        {"pulses", Table::Kind::Pulses},
        {"readings", std::nullopt},
        {"scopes", Table::Kind::Scopes},
        {"actions", Table::Kind::Actions},
    };
    int count = 0;
    std::optional<Table::Kind> kind;
    for (const auto &[option, wanted] : kinds) {
        if (!line.parser().isSet(QLatin1String(option)))
            continue;
        ++count;
        kind = wanted;
    }
    if (count != 1)
        line.complain(QStringLiteral("export one of --pulses, --readings, --scopes and --actions."));
    const ReplayOptions replay(line);
    const QString path = line.parser().positionalArguments().first();
    line.forbidReplacing(QStringLiteral("o"), path);
    if (count == 1 && kind &&
        (line.parser().isSet(QStringLiteral("output")) || line.parser().isSet(QStringLiteral("json"))))
        line.complain(QStringLiteral("--output and --json are for --readings."));
    if (const auto status = line.reportComplaint())
        return *status;

    NoxHost::OutputFile file(line.parser().value(QStringLiteral("o")));
    QString error;
    if (!file.open(error)) {
        printMessage(
            QStringLiteral("\"%1\" cannot be written: %2.").arg(line.parser().value(QStringLiteral("o")), error));
        return Failed;
    }
    if (!kind) {
        const int status = writeReadings(line, path, replay.selection(), file.getStream());
        if (status != Done)
            return status;
    } else {
        const auto loader = openRecording(path);
        if (!loader)
            return Failed;
        if (const QString objection = NoxHost::objectToSelection(*loader, replay.selection()); !objection.isEmpty()) {
            printMessage(objection);
            return Failed;
        }
        if (!writeTable(*kind, loader, replay.selection(), file.getStream(), error)) {
            printMessage(error);
            return Failed;
        }
    }
    if (!file.commit(error)) {
        printMessage(QStringLiteral("the file cannot be written: %1.").arg(error));
        return Failed;
    }
    return Done;
}

} // namespace Nox
