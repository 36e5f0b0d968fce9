#include "apps/nox/evaluator_options.h"

#include "evaluation/context_keys.h"
#include "evaluation/processors/inception_criterion.h"
#include "evaluation/processors/processor_names.h"
#include "host/evaluation/evaluation_session.h"
#include "host/evaluation/reading_format.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace Nox
{

namespace ContextKeys = CommonNOX::Evaluation::ContextKeys;

using CommonNOX::GatingStatus;

namespace
{

constexpr double Largest = std::numeric_limits<double>::max();

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

/// Notes the keys of the options that were given.
void noteGiven(const CommandLine &line, NoxHost::EvaluationSettings &settings,
               std::initializer_list<std::pair<const char *, QLatin1String>> keys)
{
    for (const auto &[option, key] : keys) {
        if (line.parser().isSet(text(option)))
            settings.given.append(key);
    }
}

} // namespace

void addBuildingOptions(CommandLine &line)
{
    line.parser().addOptions({
        {text("gating"), text("Gating status 0 to 3; 3 leaves marked pulses out of the readings."), text("status")},
        {text("invert"), text("Invert the polarity of the pulses.")},
        {text("phase-offset"), text("Degrees added to every phase."), text("degrees")},
        {text("phase-span"), text("Degrees that a period covers, at most 360 are used."), text("degrees")},
        {text("ignore-corrections"), text("Leave corrections and calibrations out.")},
    });
}

void readBuildingOptions(CommandLine &line, NoxHost::EvaluationSettings &settings)
{
    const QCommandLineParser &parser = line.parser();
    settings.gating = GatingStatus(line.wholeNumber(text("gating"), 0, 3).value_or(0));
    settings.building.invert = parser.isSet(text("invert"));
    settings.building.ignoreCorrections = parser.isSet(text("ignore-corrections"));
    settings.building.phaseOffset = line.number(text("phase-offset"), -Largest, Largest).value_or(0.0);
    settings.building.phaseSpan = line.number(text("phase-span"), -Largest, Largest).value_or(360.0);
    noteGiven(line, settings,
              {{"gating", ContextKeys::Gating},
               {"invert", ContextKeys::Invert},
               {"phase-offset", ContextKeys::PhaseOffset},
               {"phase-span", ContextKeys::PhaseSpan},
               {"ignore-corrections", ContextKeys::IgnoreCorrections}});
}

void EvaluatorOptions::addTo(CommandLine &line)
{
    line.parser().addOption({text("evaluators"), text("Evaluators, separated by \";\" (default: qiec;qmax)."),
                             text("names"), text("qiec;qmax")});
    addBuildingOptions(line);
    line.parser().addOptions({
        {text("tau1"), text("Decay of the Qiec peak hold in seconds (default: 0.44)."), text("seconds")},
        {text("tau2"), text("Time constant of the Qiec low passes in seconds (default: 0.5)."), text("seconds")},
        {text("initial-qiec"), text("Qiec reading to start from (default: 0)."), text("charge")},
        {text("criterion"),
         text("When discharge starts and stops: X of the latest Y periods above the one charge, below the other."),
         text("X/Y:inception:extinction")},
        {text("output"), text("Form of the readings: table, csv or jsonl (default: table)."), text("form"),
         text("table")},
        {text("json"), text("Short for --output jsonl.")},
    });
}

EvaluatorOptions::EvaluatorOptions(CommandLine &line, Criterion criterion)
{
    const QCommandLineParser &parser = line.parser();
    m_settings.evaluators = CommonNOX::Evaluation::Processors::SplitProcessorNames(parser.value(text("evaluators")));
    readBuildingOptions(line, m_settings);
    m_settings.tau1 = line.number(text("tau1"), -Largest, Largest);
    m_settings.tau2 = line.number(text("tau2"), -Largest, Largest);
    m_settings.initialQiec = line.number(text("initial-qiec"), -Largest, Largest);
    noteGiven(line, m_settings,
              {{"evaluators", ContextKeys::UsedEvaluators},
               {"tau1", ContextKeys::QiecTau1},
               {"tau2", ContextKeys::QiecTau2},
               {"initial-qiec", ContextKeys::InitialQiec}});
    if (parser.isSet(text("criterion")))
        m_settings.given += QStringList{ContextKeys::CriterionX, ContextKeys::CriterionY, ContextKeys::InceptionCharge,
                                        ContextKeys::ExtinctionCharge};
    readCriterion(line, criterion);
    readFormat(line);
}

void EvaluatorOptions::readCriterion(CommandLine &line, Criterion source)
{
    const bool isEvaluated =
        m_settings.evaluators.contains(CommonNOX::Evaluation::Processors::Names::InceptionExtinction);
    if (!line.parser().isSet(text("criterion"))) {
        if (isEvaluated && source == Criterion::Given)
            line.complain(text("the evaluator inceptionextinction needs --criterion X/Y:INCEPTION:EXTINCTION."));
        return;
    }
    static const QRegularExpression form(text("^([0-9]+)/([0-9]+):([^:]+):([^:]+)$"));
    const QString given = line.parser().value(text("criterion"));
    const auto match = form.match(given);
    bool areNumbers[4] = {};
    NoxHost::InceptionCriterion criterion;
    criterion.x = match.captured(1).toUInt(&areNumbers[0]);
    criterion.y = match.captured(2).toUInt(&areNumbers[1]);
    criterion.inceptionCharge = match.captured(3).toDouble(&areNumbers[2]);
    criterion.extinctionCharge = match.captured(4).toDouble(&areNumbers[3]);
    using CommonNOX::Evaluation::Processors::InceptionExtinction::XYCriterion;
    if (!std::all_of(std::begin(areNumbers), std::end(areNumbers), [](bool isNumber) { return isNumber; }) ||
        criterion.x < 1 || criterion.y < 1 || criterion.y > XYCriterion::MaximumWindow ||
        !std::isfinite(criterion.inceptionCharge) || !std::isfinite(criterion.extinctionCharge)) {
        line.complain(QStringLiteral("--criterion: \"%1\" is not X/Y:INCEPTION:EXTINCTION with X and Y from 1, Y to "
                                     "%2, and two charges.")
                          .arg(given)
                          .arg(XYCriterion::MaximumWindow));
        return;
    }
    if (criterion.x > criterion.y)
        printMessage(QStringLiteral("--criterion: %1 of %2 periods are never met.").arg(criterion.x).arg(criterion.y));
    m_settings.criterion = criterion;
}

void EvaluatorOptions::readFormat(CommandLine &line)
{
    const QString form = line.parser().isSet(text("json")) ? text("jsonl") : line.parser().value(text("output"));
    if (form == text("jsonl"))
        m_format = OutputFormat::JsonLines;
    else if (form == text("csv"))
        m_format = OutputFormat::Csv;
    else if (form != text("table"))
        line.complain(QStringLiteral("--output: \"%1\" is none of table, csv and jsonl.").arg(form));
}

bool EvaluatorOptions::dropUnknownEvaluators(NoxHost::EvaluationSession::Source source)
{
    const QStringList unknown = NoxHost::EvaluationSession::findUnknownEvaluators(m_settings, source);
    for (const QString &name : unknown)
        m_settings.evaluators.removeAll(name);
    const QString names = unknown.join(QStringLiteral("\", \""));
    if (m_settings.evaluators.isEmpty()) {
        printMessage(unknown.isEmpty() ? text("no evaluators are given.")
                                       : QStringLiteral("no evaluators are left, \"%1\" is not known.").arg(names));
        return false;
    }
    if (!unknown.isEmpty())
        printMessage(QStringLiteral("there is no evaluator \"%1\", it is ignored.").arg(names));
    return true;
}

std::string formatHeader(OutputFormat format)
{
    switch (format) {
    case OutputFormat::Table:
        return NoxHost::tableHeader();
    case OutputFormat::Csv:
        return NoxHost::csvHeader();
    case OutputFormat::JsonLines:
        break;
    }
    return {};
}

std::string formatReading(OutputFormat format, const NoxHost::Reading &reading)
{
    switch (format) {
    case OutputFormat::Table:
        return NoxHost::toTableLine(reading);
    case OutputFormat::Csv:
        return NoxHost::toCsvLines(reading);
    case OutputFormat::JsonLines:
        break;
    }
    return NoxHost::toJsonLine(reading);
}

void printLastReadings(const std::vector<NoxHost::Reading> &readings)
{
    for (const NoxHost::Reading &reading : readings) {
        const QString channel =
            reading.channel < 0 ? text("device") : QStringLiteral("channel %1").arg(reading.channel);
        std::fprintf(stderr, "%s  %-9s  %s\n", qUtf8Printable(channel), qUtf8Printable(reading.processor),
                     qUtf8Printable(NoxHost::describeRecord(reading)));
    }
}

} // namespace Nox
