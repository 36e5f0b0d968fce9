#pragma once

#include "apps/nox/command.h"
#include "host/evaluation/evaluation_session.h"
#include "host/evaluation/evaluation_settings.h"
#include "host/evaluation/reading.h"

#include <string>
#include <vector>

namespace Nox
{

/// The options of all that builds periods: gating, polarity, phase, corrections.
void addBuildingOptions(CommandLine &line);
/// Complaints go to the command line.
void readBuildingOptions(CommandLine &line, NoxHost::EvaluationSettings &settings);

/// How readings are printed.
enum class OutputFormat { Table, Csv, JsonLines };

/// The options that every command has that evaluates: evaluators, building, Qiec, inception criterion, output.
class EvaluatorOptions
{
public:
    static void addTo(CommandLine &line);

    /// Where the criterion of inception and extinction may come from.
    enum class Criterion {
        Given,           ///< from the words alone
        GivenOrRecorded, ///< or from the recording that is played back
    };
    /// Reads the options; complaints go to the command line.
    explicit EvaluatorOptions(CommandLine &line, Criterion criterion = Criterion::Given);

    const NoxHost::EvaluationSettings &settings() const { return m_settings; }
    OutputFormat format() const { return m_format; }
    void setFormat(OutputFormat format) { m_format = format; }

    /// Warns of evaluators that nobody knows, or that the source cannot feed, and leaves them out. False, with a
    /// message, when none is left.
    bool dropUnknownEvaluators(NoxHost::EvaluationSession::Source source);

private:
    void readFormat(CommandLine &line);
    void readCriterion(CommandLine &line, Criterion source);

    NoxHost::EvaluationSettings m_settings;
    OutputFormat m_format = OutputFormat::Table;
};

/// What stands before the first reading, and a reading.
std::string formatHeader(OutputFormat format);
std::string formatReading(OutputFormat format, const NoxHost::Reading &reading);

/// The summary's lines, one a channel with its latest readings.
void printLastReadings(const std::vector<NoxHost::Reading> &readings);

} // namespace Nox
