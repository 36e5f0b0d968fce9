#include "apps/nox/recording_options.h"

#include "recording/replay_file.h"

#include <QFileInfo>

#include <cmath>

namespace Nox
{

using CommonNOX::PD::Recording::RecordingLimit;

namespace
{

const QString RecordOption = QStringLiteral("record");
const QString TemplateOption = QStringLiteral("record-template");
const QString LimitOption = QStringLiteral("record-limit");
const QString ContinueWord = QStringLiteral(",continue");
constexpr double LargestLimit = 9e15;

struct SizeUnit
{
    const char *suffix;
    double bytes;
};
// Longest first: each ends like the one behind it.
constexpr SizeUnit SizeUnits[] = {{"kB", 1e3}, {"MB", 1e6}, {"GB", 1e9}, {"TB", 1e12}, {"B", 1.0}};

/// A size such as `100MB`, or a time such as `60s`; false for anything else.
bool readLimit(QString text, RecordingLimit &limit)
{
    limit.continues = text.endsWith(ContinueWord);
    if (limit.continues)
        text.chop(ContinueWord.size());
    std::optional<double> value = readTime(text);
    limit.type = RecordingLimit::Type::Duration;
    for (const SizeUnit &unit : SizeUnits) {
        const QLatin1String suffix(unit.suffix);
        if (value || !text.endsWith(suffix))
            continue;
        bool isNumber = false;
        const double number = text.left(text.size() - suffix.size()).toDouble(&isNumber) * unit.bytes;
        limit.type = RecordingLimit::Type::FileSize;
        value = isNumber ? std::optional(number) : std::nullopt;
        break;
    }
    if (!value || !(*value > 0.0) || !(*value < LargestLimit))
        return false;
    limit.value = qint64(std::ceil(*value));
    return true;
}

} // namespace

void RecordingOptions::addTo(CommandLine &line)
{
    line.parser().addOptions(
        {{RecordOption,
          QStringLiteral("Record into this file, which must not exist; with --record-template the text for "
                         "%USER_DEFINED%."),
          QStringLiteral("FILE.pdr")},
         {TemplateOption,
          QStringLiteral(
              "Record into a file of the current folder with this name; %TYPE%, %SERIAL%, %DATE%, %TIME% and "
              "%USER_DEFINED% are replaced."),
          QStringLiteral("name")},
         {LimitOption,
          QStringLiteral("End the recording at a recorded time or a file size, such as 60s or 100MB; \",continue\" "
                         "behind it goes on in a new file instead."),
          QStringLiteral("limit")}});
}

RecordingOptions::RecordingOptions(CommandLine &line)
{
    const QCommandLineParser &parser = line.parser();
    m_isWanted = parser.isSet(RecordOption) || parser.isSet(TemplateOption);
    m_template = parser.value(TemplateOption);
    m_command.isStart = true;
    m_command.fileName = parser.value(RecordOption);
    if (!parser.isSet(TemplateOption) && m_isWanted)
        *this = Into(m_command.fileName);
    if (parser.isSet(LimitOption) && !m_isWanted)
        line.complain(QStringLiteral("--record-limit needs --record or --record-template."));
    else if (parser.isSet(LimitOption) && !readLimit(parser.value(LimitOption), m_command.limit))
        line.complain(QStringLiteral("--record-limit: \"%1\" is not a limit such as 60s, 100MB or 100MB,continue.")
                          .arg(parser.value(LimitOption)));
    else if (m_isWanted && m_command.fileName.isEmpty() && m_template.isEmpty())
        line.complain(QStringLiteral("--%1 needs the name of a file.")
                          .arg(parser.isSet(TemplateOption) ? TemplateOption : RecordOption));
}

RecordingOptions RecordingOptions::Into(const QString &path)
{
    using CommonNOX::PD::Recording::FileSuffix;
    RecordingOptions options;
    options.m_isWanted = true;
    options.m_command.isStart = true;
    if (!path.isEmpty())
        options.m_command.fileName = QFileInfo(path).absoluteFilePath();
    if (!path.isEmpty() && !path.endsWith(FileSuffix, Qt::CaseInsensitive))
        options.m_command.fileName += FileSuffix;
    return options;
}

} // namespace Nox
