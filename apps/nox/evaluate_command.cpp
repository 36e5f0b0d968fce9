#include "apps/nox/command.h"
#include "apps/nox/evaluator_options.h"
#include "host/evaluation/evaluation_session.h"
#include "host/pulses/pulse_csv_reader.h"
#include "host/pulses/voltage_csv_reader.h"
#include "host/terminal/interruption.h"
#include "host/terminal/output.h"

#include <QElapsedTimer>
#include <QFileInfo>

namespace Nox
{

using NoxHost::EvaluationSession;
using NoxHost::PulseCsvReader;
using NoxHost::PulseCsvResult;

namespace
{

/// How many periods are read between two looks at what is done.
constexpr quint64 PeriodsBetweenLooks = 64;

/// Reads a file, evaluates its periods and prints the readings as they become complete.
class FileEvaluation
{
public:
    /// `voltagesPath` may be empty.
    FileEvaluation(const QString &path, const QString &voltagesPath, const EvaluatorOptions &options,
                   std::optional<qint64> channel)
        : m_path(path), m_voltagesPath(voltagesPath), m_format(options.format()), m_channel(channel),
          m_session(options.settings()), m_fileSize(QFileInfo(path).isFile() ? QFileInfo(path).size() : 0)
    {}

    int run()
    {
        m_timer.start();
        if (!m_reader.open(m_path))
            return fail(m_reader.error());
        if (!m_voltagesPath.isEmpty() && !m_voltages.open(m_voltagesPath))
            return fail(m_voltages.getError());
        m_output.write(formatHeader(m_format));
        QString error = readAll();
        if (!m_session.finish(&NoxHost::isInterrupted))
            error = QStringLiteral("interrupted.");
        printReadings();
        m_output.flush();
        m_progress.clear();
        if (!m_output.getError().isEmpty())
            error = QStringLiteral("the readings cannot be written: %1.").arg(m_output.getError());
        if (!error.isEmpty())
            return fail(error);
        printSummary();
        return Done;
    }

private:
    /// The sentence about what ended the reading early; empty at the end of the file.
    QString readAll()
    {
        for (quint64 count = 1;; ++count) {
            PulseCsvResult result = m_reader.next();
            if (NoxHost::isInterrupted())
                return QStringLiteral("interrupted.");
            if (result.kind == PulseCsvResult::Kind::Error) {
                if (result.doubtedFrom)
                    m_session.withdrawFrom(*result.doubtedFrom);
                return result.error;
            }
            if (result.kind == PulseCsvResult::Kind::End)
                return {};
            if (m_channel && result.period.channel != *m_channel)
                continue;
            if (!m_voltagesPath.isEmpty()) {
                const auto voltage = m_voltages.voltageFor(result.period.index);
                if (!voltage)
                    return m_voltages.getError();
                result.period.testVoltage = *voltage;
            }
            if (!m_session.addPeriod(result.period, &NoxHost::isInterrupted))
                return QStringLiteral("interrupted.");
            if (count % PeriodsBetweenLooks == 0 || m_session.getPeriodsOnTheirWay() > MaximumUnprinted)
                printReadings();
            if (!m_output.getError().isEmpty())
                return {};
        }
    }

    void printReadings()
    {
        for (const NoxHost::Reading &reading : m_session.takeReadings())
            m_output.write(formatReading(m_format, reading));
        if (m_progress.isDue()) {
            const double done = m_fileSize > 0 ? double(m_reader.bytesRead()) / double(m_fileSize) : -1.0;
            m_progress.show(
                done,
                QStringLiteral("%1 periods, %2 pulses").arg(m_session.getPeriodCount()).arg(m_session.getPulseCount()));
        }
    }

    void printSummary() const
    {
        const double seconds = std::max(1e-3, double(m_timer.nsecsElapsed()) * 1e-9);
        const quint64 dropped = m_session.getDroppedCount();
        std::fprintf(stderr, "%llu periods, %llu pulses, %.0f pulses a second\n",
                     static_cast<unsigned long long>(m_session.getPeriodCount()),
                     static_cast<unsigned long long>(m_session.getPulseCount()),
                     double(m_session.getPulseCount()) / seconds);
        if (dropped > 0)
            std::fprintf(stderr, "%llu periods without extent or sample rate gave no reading\n",
                         static_cast<unsigned long long>(dropped));
        printLastReadings(m_session.getLastReadings());
    }

    int fail(const QString &sentence)
    {
        m_progress.clear();
        printMessage(sentence);
        return Failed;
    }

    static constexpr std::size_t MaximumUnprinted = EvaluationSession::MaximumPeriods / 2;

    const QString m_path;
    const QString m_voltagesPath;
    const OutputFormat m_format;
    const std::optional<qint64> m_channel;
    QElapsedTimer m_timer;
    PulseCsvReader m_reader;
    NoxHost::VoltageCsvReader m_voltages;
    NoxHost::Output m_output{stdout};
    NoxHost::ProgressLine m_progress;
    EvaluationSession m_session;
    const qint64 m_fileSize;
};

} // namespace

int runEvaluate(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("evaluate"), QStringLiteral("PULSES.csv"),
                     QStringLiteral("Evaluates pulses from a file as a live measurement would."),
                     QStringLiteral("nox evaluate pulses.csv --evaluators \"qiec;qmax\" --output csv > readings.csv"));
    EvaluatorOptions::addTo(line);
    line.parser().addOptions(
        {{QStringLiteral("channel"), QStringLiteral("Evaluate only this channel."), QStringLiteral("number")},
         {QStringLiteral("voltages"),
          QStringLiteral("Test voltages: a CSV with the header \"period,voltage\"; a period without a line keeps the "
                         "last."),
          QStringLiteral("file")}});
    if (const auto status = line.parse(arguments, 1, 1))
        return *status;
    EvaluatorOptions options(line);
    const auto channel = line.wholeNumber(QStringLiteral("channel"), 0, std::numeric_limits<qint32>::max());
    if (const auto status = line.reportComplaint())
        return *status;
    if (!options.dropUnknownEvaluators(EvaluationSession::Source::Periods))
        return Failed;
    return FileEvaluation(line.parser().positionalArguments().first(), line.parser().value(QStringLiteral("voltages")),
                          options, channel)
        .run();
}

} // namespace Nox
