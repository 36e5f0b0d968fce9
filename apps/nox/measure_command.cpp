#include "apps/nox/command.h"
#include "apps/nox/evaluator_options.h"
#include "host/evaluation/evaluation_session.h"
#include "host/session/device_session.h"
#include "host/session/parameter_requests.h"
#include "host/simulated/simulator_url.h"
#include "host/terminal/interruption.h"
#include "host/terminal/live_table.h"
#include "host/terminal/output.h"
#include "platform/configuration_tree.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTimer>
#include <QUrl>

#include <cmath>
#include <map>

namespace Nox
{

using NoxHost::DeviceSession;
using NoxHost::EvaluationSession;

namespace
{

/// How long to wait at most between two looks at new readings and at interruptions.
constexpr int TickMs = 20;
/// A person reads no more than ten tables a second.
constexpr int MsBetweenTables = 100;

/// When a measurement ends; without a limit it runs until it is interrupted.
struct Limits
{
    std::optional<double> seconds; ///< of measuring time
    std::optional<qint64> periods; ///< a channel
    bool isOpen() const { return !seconds && !periods; }
};

/// Parameters to set before the start.
using Wishes = std::map<QString, QVariant>;

/// Measures on the instrument of a URL until a limit, an interruption or the end of the connection.
class Measurement
{
public:
    Measurement(const NoxHost::LinkSettings &link, const EvaluatorOptions &options, const Limits &limits,
                const Wishes &wishes)
        : m_format(options.format()), m_limits(limits), m_wishes(wishes),
          m_liveTable(stdout, options.settings().evaluators), m_session(options.settings()),
          m_device(link, Utilities::GetApplicationConfigurationTree())
    {
        m_device.setFlowControl([this] { return m_session.isFull(); });
        if (limits.periods)
            m_device.setPeriodLimit(quint64(*limits.periods));
        if (limits.seconds)
            m_device.setTimeLimit(*limits.seconds);
        QObject::connect(&m_device, &DeviceSession::ready, [this] { onReady(); });
        QObject::connect(&m_device, &DeviceSession::lost, [this](const QString &reason) {
            tell(QStringLiteral("the connection is lost: %1; connecting again.").arg(reason));
        });
        QObject::connect(&m_device, &DeviceSession::back, [this] { tell(QStringLiteral("connected again.")); });
        QObject::connect(&m_device, &DeviceSession::ended, [this](const QString &sentence) { end(sentence); });
        QObject::connect(&m_tick, &QTimer::timeout, [this] { onTick(); });
    }

    int run(const QUrl &url)
    {
        m_timer.start();
        if (m_format != OutputFormat::Table)
            m_output.write(formatHeader(m_format));
        m_tick.start(TickMs);
        // From within the event loop, which the end of a connection that fails at once can leave.
        QTimer::singleShot(0, [this, url] { m_device.open(url); });
        QCoreApplication::exec();

        const bool wasInterrupted = NoxHost::isInterrupted();
        m_tick.stop();
        m_device.close();
        if (m_isMeasuring) {
            m_session.finish();
            m_nextShow = 0;
            showReadings();
            m_output.flush();
            printSummary();
        }
        if (!m_error.isEmpty()) {
            printMessage(m_error);
            return Failed;
        }
        return wasInterrupted && !m_limits.isOpen() ? Failed : Done;
    }

private:
    void onReady()
    {
        m_session.follow(m_device.getDevice());
        if (m_wishes.empty()) {
            start();
            return;
        }
        QObject::connect(m_device.getParameterRequests(), &NoxHost::ParameterRequests::requestFinished,
                         [this](const QString &parameter, const QVariant &, const QString &reason) {
                             if (m_wishes.count(parameter) == 0)
                                 return;
                             m_wishes.erase(parameter);
                             if (!reason.isEmpty())
                                 end(QStringLiteral("\"%1\" was not set: %2.").arg(parameter, reason));
                             else if (m_wishes.empty() && m_error.isEmpty())
                                 start();
                         });
        const Wishes wishes = m_wishes;
        for (const auto &[parameter, value] : wishes)
            m_device.request(parameter, value);
    }

    void start()
    {
        if (std::exchange(m_isMeasuring, true))
            return;
        m_device.start();
    }

    void onTick()
    {
        showReadings();
        const QString outputError = m_output.getError().isEmpty() ? m_liveTable.getError() : m_output.getError();
        if (!outputError.isEmpty())
            end(QStringLiteral("the readings cannot be written: %1.").arg(outputError));
        else if (NoxHost::isInterrupted() || m_device.isLimitReached())
            end({});
    }

    void end(const QString &error)
    {
        if (m_error.isEmpty())
            m_error = error;
        QCoreApplication::quit();
    }

    void showReadings()
    {
        if (!m_isMeasuring || (m_format == OutputFormat::Table && m_timer.elapsed() < m_nextShow))
            return;
        m_nextShow = m_timer.elapsed() + MsBetweenTables;
        const auto readings = m_session.takeReadings();
        if (m_format == OutputFormat::Table) {
            m_liveTable.show(m_device.getSeconds(), describeState(), m_session.getLastReadings());
            return;
        }
        for (const NoxHost::Reading &reading : readings)
            m_output.write(formatReading(m_format, reading));
        m_output.flush();
    }

    QString describeState() const
    {
        QString state = QStringLiteral("%1 s").arg(m_device.getSeconds(), 0, 'f', 2);
        if (const auto kilovolts = m_device.getKilovolts())
            state += QStringLiteral("  %1 kV rms").arg(*kilovolts, 0, 'f', 1);
        state +=
            QStringLiteral("  %1 periods  %2 pulses").arg(m_session.getPeriodCount()).arg(m_session.getPulseCount());
        const QString losses = describeLosses();
        if (!losses.isEmpty())
            state += QStringLiteral("  ") + losses;
        if (!m_device.isConnected())
            state += QStringLiteral("  not connected");
        return state;
    }

    QString describeLosses() const
    {
        const NoxHost::SessionCounts &counts = m_device.getCounts();
        QStringList losses;
        if (counts.interruptions > 0)
            losses.append(QStringLiteral("%1 interruptions").arg(counts.interruptions));
        if (counts.lostPeriods > 0)
            losses.append(QStringLiteral("%1 periods lost by the instrument").arg(counts.lostPeriods));
        if (counts.missingPeriods > 0)
            losses.append(QStringLiteral("%1 periods missing").arg(counts.missingPeriods));
        if (m_session.getRefusedCount() > 0)
            losses.append(QStringLiteral("%1 periods refused").arg(m_session.getRefusedCount()));
        return losses.join(QStringLiteral(", "));
    }

    /// Where a table refreshes in place, its status line tells the state; a message would tear it apart.
    void tell(const QString &sentence) const
    {
        if (m_format != OutputFormat::Table || !NoxHost::isTerminal(stdout))
            printMessage(sentence);
    }

    void printSummary() const
    {
        const QString losses = describeLosses();
        std::fprintf(stderr, "%.2f s measured, %llu periods, %llu pulses%s%s\n", m_device.getSeconds(),
                     static_cast<unsigned long long>(m_session.getPeriodCount()),
                     static_cast<unsigned long long>(m_session.getPulseCount()), losses.isEmpty() ? "" : ", ",
                     qUtf8Printable(losses));
        printLastReadings(m_session.getLastReadings());
    }

    const OutputFormat m_format;
    const Limits m_limits;
    Wishes m_wishes;
    QElapsedTimer m_timer;
    QTimer m_tick;
    bool m_isMeasuring = false;
    QString m_error;
    qint64 m_nextShow = 0;
    NoxHost::Output m_output{stdout};
    NoxHost::LiveTable m_liveTable;
    EvaluationSession m_session;
    DeviceSession m_device;
};

/// A JSON scalar, else the text itself.
QVariant readParameterValue(const QString &text)
{
    const QJsonArray values = QJsonDocument::fromJson('[' + text.toUtf8() + ']').array();
    const bool isScalar = values.size() == 1 && !values[0].isObject() && !values[0].isArray() && !values[0].isNull();
    return isScalar ? values[0].toVariant() : QVariant(text);
}

Wishes readWishes(CommandLine &line)
{
    Wishes wishes;
    for (const QString &text : line.parser().values(QStringLiteral("set"))) {
        const int split = text.indexOf(QLatin1Char('='));
        if (split < 1)
            line.complain(QStringLiteral("--set: \"%1\" is not PARAMETER=VALUE.").arg(text));
        else
            wishes[text.left(split)] = readParameterValue(text.mid(split + 1));
    }
    return wishes;
}

} // namespace

int runMeasure(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("measure"), QStringLiteral("URL"),
        QStringLiteral("Measures on an instrument and shows readings while they come. URL is \"tcp://HOST[:PORT]\" or "
                       "\"simulator:\", an instrument inside this program, such as "
                       "\"simulator:?channels=4&speed=0&seed=7\"."),
        QStringLiteral("nox measure simulator: --duration 10s"));
    EvaluatorOptions::addTo(line);
    line.parser().addOptions(
        {{QStringLiteral("duration"), QStringLiteral("End after this measuring time."), QStringLiteral("time")},
         {QStringLiteral("periods"), QStringLiteral("End after so many periods a channel."), QStringLiteral("number")},
         {QStringLiteral("set"), QStringLiteral("Set a parameter of the instrument before the start; repeatable."),
          QStringLiteral("parameter=value")},
         {QStringLiteral("reconnect-for"),
          QStringLiteral("Give a lost connection up after this time; 0 for at once (default: 60)."),
          QStringLiteral("time")}});
    if (const auto status = line.parse(arguments, 1, 1))
        return *status;
    EvaluatorOptions options(line);
    Limits limits;
    limits.seconds = line.duration(QStringLiteral("duration"));
    limits.periods = line.wholeNumber(QStringLiteral("periods"), 1, qint64(1) << 53);
    const Wishes wishes = readWishes(line);
    NoxHost::LinkSettings link;
    if (const auto seconds = line.duration(QStringLiteral("reconnect-for"))) {
        link.giveUpMs = int(std::min(*seconds * 1000.0, 2e9));
        link.reconnects = link.giveUpMs > 0;
    }
    if (const auto status = line.reportComplaint())
        return *status;

    const QString address = line.parser().positionalArguments().first();
    const QUrl url(address);
    if (url.scheme() == QLatin1String("simulator")) {
        NoxHost::SimulatorRequest request;
        QString error;
        if (!NoxHost::readSimulatorUrl(url, request, error)) {
            printMessage(error);
            return WrongUsage;
        }
    }
    if (url.scheme().isEmpty()) {
        printMessage(QStringLiteral("there is no transport for \"%1\".").arg(address));
        return Failed;
    }
    if (!options.dropUnknownEvaluators(EvaluationSession::Source::Device))
        return Failed;
    return Measurement(link, options, limits, wishes).run(url);
}

} // namespace Nox
