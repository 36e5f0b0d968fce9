#include "apps/nox/command.h"
#include "apps/nox/evaluator_options.h"
#include "apps/nox/measurement.h"
#include "apps/nox/replay_options.h"

namespace Nox
{

using NoxHost::EvaluationSession;

int runReplay(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("replay"), QStringLiteral("FILE.pdr"),
                     QStringLiteral("Plays a recording back through the evaluators, as if the device were there. The "
                                    "settings are those of the recording unless they are given here."),
                     QStringLiteral("nox replay recording.pdr --speed 0 --span 60:120 --output csv"));
    EvaluatorOptions::addTo(line);
    ReplayOptions::addTo(line);
    line.parser().addOptions(
        {{QStringLiteral("speed"), QStringLiteral("Recorded time over real time; 0 as fast as possible (default: 1)."),
          QStringLiteral("factor")},
         {QStringLiteral("readings"), QStringLiteral("Write all readings into this file besides, as lines of JSON."),
          QStringLiteral("file")}});
    if (const auto status = line.parse(arguments, 1, 1))
        return *status;
    EvaluatorOptions options(line, EvaluatorOptions::Criterion::GivenOrRecorded);
    ReplayOptions replay(line);
    constexpr double Largest = 1e9;
    NoxHost::ReplayRequest request;
    request.path = line.parser().positionalArguments().first();
    request.selection = replay.selection();
    request.speed = line.number(QStringLiteral("speed"), -Largest, Largest).value_or(1.0);
    line.forbidReplacing(QStringLiteral("readings"), request.path);
    if (const auto status = line.reportComplaint())
        return *status;
    if (!options.dropUnknownEvaluators(EvaluationSession::Source::Device))
        return Failed;
    MeasurementPlan plan;
    plan.url = NoxHost::makeReplayUrl(request);
    plan.readingsPath = line.parser().value(QStringLiteral("readings"));
    return Measurement(plan, options).run();
}

} // namespace Nox
