#include "apps/nox/command.h"
#include "apps/nox/evaluator_options.h"
#include "host/evaluation/evaluation_session.h"
#include "host/simulated/simulator_url.h"
#include "host/terminal/interruption.h"
#include "host/terminal/live_table.h"
#include "host/terminal/output.h"

#include <QElapsedTimer>
#include <QUrl>

#include <cmath>
#include <thread>

namespace Nox
{

using NoxHost::EvaluationSession;

namespace
{

/// How long to sleep at most between two looks at new readings and at interruptions.
constexpr std::chrono::milliseconds Tick(20);

/// When a measurement ends; without a limit it runs until it is interrupted.
struct Limits
{
    std::optional<double> seconds; ///< of measuring time
    std::optional<qint64> periods; ///< a channel
    bool isOpen() const { return !seconds && !periods; }
};

/// Measures from the simulated signal source at the speed that was asked for.
class SimulatorMeasurement
{
public:
    SimulatorMeasurement(const NoxHost::SimulatorRequest &request, const EvaluatorOptions &options,
                         const Limits &limits)
        : m_source(request.settings), m_speed(request.speed), m_format(options.format()), m_limits(limits),
          m_liveTable(stdout, options.settings().evaluators), m_session(options.settings())
    {}

    int run()
    {
        m_timer.start();
        if (m_format != OutputFormat::Table)
            m_output.write(formatHeader(m_format));
        for (quint64 index = 0; !isAtEnd(index); ++index) {
            if (!waitUntilDue(index) || !measure(index))
                break;
            showReadings();
            if (!outputError().isEmpty())
                return fail(QStringLiteral("the readings cannot be written: %1.").arg(outputError()));
        }
        const bool wasInterrupted = NoxHost::isInterrupted();
        m_session.finish();
        m_nextShow = 0;
        showReadings();
        m_output.flush();
        printSummary();
        return wasInterrupted && !m_limits.isOpen() ? Failed : Done;
    }

private:
    double secondsAt(quint64 index) const
    {
        return double(m_source.startTicks(index)) / m_source.settings().sampleRate;
    }

    bool isAtEnd(quint64 index) const
    {
        if (index >= m_source.periodCount() || NoxHost::isInterrupted())
            return true;
        if (m_limits.periods && index >= quint64(*m_limits.periods))
            return true;
        return m_limits.seconds && secondsAt(index) >= *m_limits.seconds;
    }

    /// A period is there when it has ended. False when it was interrupted.
    bool waitUntilDue(quint64 index)
    {
        while (m_speed > 0.0) {
            const double early = secondsAt(index + 1) / m_speed - double(m_timer.nsecsElapsed()) * 1e-9;
            if (early <= 0.0)
                break;
            if (NoxHost::isInterrupted())
                return false;
            std::this_thread::sleep_for(
                std::min(std::chrono::duration<double>(early), std::chrono::duration<double>(Tick)));
            showReadings();
        }
        return true;
    }

    bool measure(quint64 index)
    {
        m_seconds = secondsAt(index + 1);
        for (int channel = 0; channel < m_source.settings().channels; ++channel) {
            const auto period = m_source.period(channel, index);
            if (!period || !m_session.addPeriod(*period, &NoxHost::isInterrupted))
                return false;
        }
        return true;
    }

    void showReadings()
    {
        // A person reads no more than ten tables a second.
        if (m_format == OutputFormat::Table && m_timer.elapsed() < m_nextShow)
            return;
        m_nextShow = m_timer.elapsed() + 100;
        const auto readings = m_session.takeReadings();
        if (m_format == OutputFormat::Table) {
            const double kilovolts = m_source.kilovoltsAt(qint64(m_seconds * m_source.settings().sampleRate) - 1);
            m_liveTable.show(m_seconds,
                             QStringLiteral("%1 s  %2 kV rms  %3 periods  %4 pulses")
                                 .arg(m_seconds, 0, 'f', 2)
                                 .arg(kilovolts, 0, 'f', 1)
                                 .arg(m_session.getPeriodCount())
                                 .arg(m_session.getPulseCount()),
                             m_session.getLastReadings());
            return;
        }
        for (const NoxHost::Reading &reading : readings)
            m_output.write(formatReading(m_format, reading));
        m_output.flush();
    }

    QString outputError() const { return m_output.getError().isEmpty() ? m_liveTable.getError() : m_output.getError(); }

    void printSummary() const
    {
        std::fprintf(stderr, "%.2f s measured, %llu periods, %llu pulses\n", m_seconds,
                     static_cast<unsigned long long>(m_session.getPeriodCount()),
                     static_cast<unsigned long long>(m_session.getPulseCount()));
        printLastReadings(m_session.getLastReadings());
    }

    static int fail(const QString &sentence)
    {
        printMessage(sentence);
        return Failed;
    }

    const NoxHost::SimulatedSignalSource m_source;
    const double m_speed;
    const OutputFormat m_format;
    const Limits m_limits;
    QElapsedTimer m_timer;
    double m_seconds = 0.0; // measured so far
    qint64 m_nextShow = 0;
    NoxHost::Output m_output{stdout};
    NoxHost::LiveTable m_liveTable;
    EvaluationSession m_session;
};

} // namespace

int runMeasure(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("measure"), QStringLiteral("URL"),
                     QStringLiteral("Measures and shows readings while they come. URL is \"simulator:\", the signal "
                                    "source inside this program, such as \"simulator:?channels=4&speed=0&seed=7\"."),
                     QStringLiteral("nox measure simulator: --duration 10s"));
    EvaluatorOptions::addTo(line);
    line.parser().addOptions(
        {{QStringLiteral("duration"), QStringLiteral("End after this measuring time."), QStringLiteral("time")},
         {QStringLiteral("periods"), QStringLiteral("End after so many periods a channel."),
          QStringLiteral("number")}});
    if (const auto status = line.parse(arguments, 1, 1))
        return *status;
    EvaluatorOptions options(line);
    Limits limits;
    limits.seconds = line.duration(QStringLiteral("duration"));
    limits.periods = line.wholeNumber(QStringLiteral("periods"), 1, qint64(1) << 53);
    if (const auto status = line.reportComplaint())
        return *status;

    const QUrl url(line.parser().positionalArguments().first());
    if (url.scheme() != QLatin1String("simulator")) {
        printMessage(
            QStringLiteral("there is no transport for \"%1\".").arg(line.parser().positionalArguments().first()));
        return Failed;
    }
    NoxHost::SimulatorRequest request;
    QString error;
    if (!NoxHost::readSimulatorUrl(url, request, error)) {
        printMessage(error);
        return WrongUsage;
    }
    if (!options.dropUnknownEvaluators(EvaluationSession::Source::Device))
        return Failed;
    return SimulatorMeasurement(request, options, limits).run();
}

} // namespace Nox
