#include "apps/nox/command.h"
#include "apps/nox/evaluator_options.h"
#include "apps/nox/measurement.h"
#include "host/replay/replay_url.h"
#include "host/simulated/simulator_url.h"

#include <QJsonArray>
#include <QJsonDocument>
namespace Nox
{

using NoxHost::EvaluationSession;

namespace
{

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

/// What is wrong with a URL whose scheme is this program's own, in one sentence; else empty.
QString objectTo(const QUrl &url)
{
    QString error;
    NoxHost::SimulatorRequest simulator;
    NoxHost::ReplayRequest replay;
    if (url.scheme() == QLatin1String("simulator"))
        NoxHost::readSimulatorUrl(url, simulator, error);
    else if (url.scheme() == QLatin1String("replay"))
        NoxHost::readReplayUrl(url, replay, error);
    return error;
}

} // namespace

int runMeasure(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("measure"), QStringLiteral("URL"),
        QStringLiteral("Measures on an instrument and shows readings while they come. URL is \"tcp://HOST[:PORT]\" or "
                       "\"simulator:\", an instrument inside this program, such as "
                       "\"simulator:?channels=4&speed=0&seed=7\", or \"replay:FILE.pdr\", a recording."),
        QStringLiteral("nox measure simulator: --duration 10s"));
    EvaluatorOptions::addTo(line);
    RecordingOptions::addTo(line);
    line.parser().addOptions(
        {{QStringLiteral("duration"), QStringLiteral("End after this measuring time."), QStringLiteral("time")},
         {QStringLiteral("periods"), QStringLiteral("End after so many periods a channel."), QStringLiteral("number")},
         {QStringLiteral("set"), QStringLiteral("Set a parameter of the instrument before the start; repeatable."),
          QStringLiteral("parameter=value")},
         {QStringLiteral("readings"), QStringLiteral("Write all readings into this file besides, as lines of JSON."),
          QStringLiteral("file")},
         {QStringLiteral("reconnect-for"),
          QStringLiteral("Give a lost connection up after this time; 0 for at once (default: 60)."),
          QStringLiteral("time")}});
    if (const auto status = line.parse(arguments, 1, 1))
        return *status;
    const QString address = line.parser().positionalArguments().first();
    QString objection;
    const bool isReplay = QUrl(address).scheme() == QLatin1String("replay");
    EvaluatorOptions options(line, isReplay ? EvaluatorOptions::Criterion::GivenOrRecorded
                                            : EvaluatorOptions::Criterion::Given);
    MeasurementPlan plan;
    plan.recording = RecordingOptions(line);
    plan.limits.seconds = line.duration(QStringLiteral("duration"));
    plan.limits.periods = line.wholeNumber(QStringLiteral("periods"), 1, qint64(1) << 53);
    plan.wishes = readWishes(line);
    plan.readingsPath = line.parser().value(QStringLiteral("readings"));
    if (const auto seconds = line.duration(QStringLiteral("reconnect-for"))) {
        plan.link.giveUpMs = int(std::min(*seconds * 1000.0, 2e9));
        plan.link.reconnects = plan.link.giveUpMs > 0;
    }
    if (NoxHost::ReplayRequest replay; isReplay && NoxHost::readReplayUrl(QUrl(address), replay, objection))
        line.forbidReplacing(QStringLiteral("readings"), replay.path);
    if (const auto status = line.reportComplaint())
        return *status;

    plan.url = QUrl(address);
    objection = objectTo(plan.url);
    if (!objection.isEmpty()) {
        printMessage(objection);
        return WrongUsage;
    }
    if (plan.url.scheme().isEmpty()) {
        printMessage(QStringLiteral("there is no transport for \"%1\".").arg(address));
        return Failed;
    }
    if (!options.dropUnknownEvaluators(EvaluationSession::Source::Device))
        return Failed;
    return Measurement(plan, options).run();
}

} // namespace Nox
