#include "apps/nox/command.h"
#include "apps/nox/evaluator_options.h"
#include "apps/nox/recording_file.h"
#include "entries/measurement/pattern.h"
#include "entries/measurement/period.h"
#include "host/pulses/csv_period_source.h"
#include "host/pulses/period_entry.h"
#include "host/replay/recorded_building.h"
#include "host/replay/recorded_periods.h"
#include "host/report/pattern_plot.h"
#include "host/terminal/interruption.h"
#include "host/terminal/output.h"
#include "recording/recorder/recording_clock.h"
#include "recording/replay/pd_replay_file_loader.h"
#include "recording/replay_file.h"

#include <QRegularExpression>
#include <QSaveFile>

#include <cmath>
#include <map>

namespace Nox
{

using CommonNOX::Data::Pattern;
using CommonNOX::Data::Period;
using CommonNOX::Importer::ReplaySelection;
using NoxHost::PeriodResult;
using Shared::Diagrams::AxisScalingType;

namespace
{

/// No axis is shorter: below, a scale counts as none.
constexpr double SmallestScale = 1e-11;
constexpr double LargestPhase = 36'000.0;

/// What the words of the command say.
struct PatternOptions
{
    QString output;
    bool isPicture = false;
    int columns = 400;
    int rows = 300;
    double scalePhase = 360.0;
    std::optional<double> scaleCharge;
    bool bipolar = false;
    bool logarithmic = false;
    CommonNOX::Data::PatternPalette palette = CommonNOX::Data::PatternPalette::Viridis;
    std::optional<qint64> channel;
    double from = -std::numeric_limits<double>::infinity(); ///< seconds from the first period on
    double to = std::numeric_limits<double>::infinity();
    NoxHost::EvaluationSettings building;
};

/// The next round number above the charge. A charge at the very end of a bipolar axis would count as off it, and a
/// device that saturates does so at a round number.
double roundedUp(double charge)
{
    const double decade = std::pow(10.0, std::floor(std::log10(charge)));
    for (const double step : {1.0, 1.2, 1.5, 2.0, 2.5, 3.0, 4.0, 5.0, 6.0, 8.0}) {
        if (step * decade > charge)
            return step * decade;
    }
    return 10.0 * decade;
}

/// Accumulates the pattern of a source's periods and writes it.
class PatternReport
{
public:
    /// `recorded` tells how a recording's periods were built; null for other sources, in whose periods the span is
    /// looked for.
    PatternReport(NoxHost::PeriodSource &source, const PatternOptions &options,
                  const NoxHost::RecordedBuilding *recorded = nullptr)
        : m_source(source), m_options(options), m_recorded(recorded)
    {}

    int run()
    {
        QString error = findScale();
        if (error.isEmpty())
            error = accumulate();
        if (error.isEmpty())
            error = m_options.isPicture ? writePicture() : writeCells();
        m_progress.clear();
        if (!error.isEmpty()) {
            printMessage(error);
            return Failed;
        }
        if (!m_source.getRemark().isEmpty())
            printMessage(m_source.getRemark());
        std::fprintf(stderr, "%s\n", qUtf8Printable(summary()));
        return Done;
    }

private:
    /// The charge scale from the options, or from a reading of its own; what is wrong as a sentence.
    QString findScale()
    {
        if (m_options.scaleCharge) {
            m_scaleCharge = *m_options.scaleCharge;
            return {};
        }
        if (!m_source.canRestart())
            return QStringLiteral("the charge scale cannot be found from what can be read only once, give "
                                  "--scale-charge.");
        double largest = 0.0;
        const QString error = readPeriods([&](const NoxHost::RawPeriod &, const Period &period) {
            if (period.getNumberOfElements() > 0)
                largest = std::max(largest, period.getAbsoluteSignalValueMaximum());
        });
        if (!error.isEmpty())
            return error;
        // Without any charge an empty pattern of some scale.
        m_scaleCharge = largest > SmallestScale ? roundedUp(largest) : 1.0;
        return std::isfinite(m_scaleCharge) ? QString()
                                            : QStringLiteral("the largest charge is not finite, give --scale-charge.");
    }

    QString accumulate()
    {
        m_pattern.setPixelDimensionX(quint16(m_options.columns));
        m_pattern.setPixelDimensionY(quint16(m_options.rows));
        m_pattern.setPatternScaleX(m_options.scalePhase);
        m_pattern.setPatternScaleY(m_scaleCharge);
        m_pattern.setBipolarStatus(m_options.bipolar);
        m_pattern.setAxisScaling(m_options.logarithmic ? AxisScalingType::Logarithmic : AxisScalingType::Linear);
        m_pattern.setPatternPalette(m_options.palette);
        m_pattern.calculatePatternParameter();
        const QString error = readPeriods([this](const NoxHost::RawPeriod &raw, const Period &period) {
            m_pattern.updatePattern(period);
            m_seconds[raw.channel] += double(raw.endTicks - raw.startTicks) / raw.sampleRate;
            m_pulses += period.getNumberOfElements();
            ++m_periods;
        });
        if (error.isEmpty() && m_periods == 0)
            return QStringLiteral("no period of this channel and span can be evaluated.");
        return error;
    }

    /// Builds every period that the options choose; what is wrong as a sentence.
    template <class Take>
    QString readPeriods(Take take)
    {
        if (!m_source.start())
            return m_source.getError();
        CommonNOX::PD::Recording::RecordingClock clock;
        m_unit.clear();
        for (;;) {
            const PeriodResult result = m_source.next();
            if (NoxHost::isInterrupted())
                return QStringLiteral("interrupted.");
            if (result.kind == PeriodResult::Kind::Error)
                return result.error;
            if (result.kind == PeriodResult::Kind::End)
                return {};
            if (m_progress.isDue())
                m_progress.show(m_source.getProgress(), QStringLiteral("period %1").arg(result.period.index));
            const NoxHost::RawPeriod &raw = result.period;
            if ((m_options.channel && raw.channel != *m_options.channel) || raw.sampleRate == 0)
                continue;
            clock.note(raw.channel, raw.startTicks, raw.endTicks, raw.sampleRate);
            if (!m_recorded && (clock.getStart() < m_options.from || clock.getStart() >= m_options.to))
                continue;
            Period period;
            const NoxHost::EvaluationSettings &settings =
                m_recorded ? m_recorded->find(raw.channel, raw.index) : m_options.building;
            const auto &building = settings.building;
            const std::shared_ptr<const CommonNOX::Entries::Results::Space2D::PeriodV2> entry = makePeriodEntry(raw);
            if (!period.preProcess(entry, settings.gating, building.invert, building.phaseOffset, building.phaseSpan,
                                   building.ignoreCorrections))
                continue;
            if (m_unit.isEmpty())
                m_unit = period.getPDUnit();
            else if (m_unit != period.getPDUnit())
                return QStringLiteral("period %1 of channel %2 is in %3, earlier ones are in %4; choose a channel or "
                                      "a span.")
                    .arg(raw.index)
                    .arg(raw.channel)
                    .arg(period.getPDUnit(), m_unit);
            take(raw, period);
        }
    }

    quint64 overflowCount() const
    {
        quint64 count = 0;
        for (const quint32 ofColumn : m_pattern.getOverflowCounts())
            count += ofColumn;
        return count;
    }

    /// Channels run side by side.
    double longestTime() const
    {
        double longest = 0.0;
        for (const auto &ofChannel : m_seconds)
            longest = std::max(longest, ofChannel.second);
        return longest;
    }

    QString summary() const
    {
        return QStringLiteral("%1 periods, %2 pulses, %3 s; %4 off the charge axis, %5 off the phase axis")
            .arg(m_periods)
            .arg(m_pulses)
            .arg(longestTime(), 0, 'f', 2)
            .arg(overflowCount())
            .arg(m_pattern.getDroppedCount());
    }

    QString writePicture()
    {
        QString title = m_source.getTitle();
        if (m_options.channel)
            title += QStringLiteral(", channel %1").arg(*m_options.channel);
        const QImage image = NoxHost::drawPatternPlot(m_pattern, {toOneLine(title), summary(), m_unit});
        return save([&](QSaveFile &file) { return image.save(&file, "PNG"); });
    }

    QString writeCells()
    {
        const auto &counts = m_pattern.getCounts();
        const int columns = m_pattern.getColumnCount();
        return save([&](QSaveFile &file) {
            file.write("row,column,count\n");
            const auto write = [&file](qint64 row, qint64 column, quint64 count) {
                file.write(QByteArray::number(row) + ',' + QByteArray::number(column) + ',' +
                           QByteArray::number(count) + '\n');
            };
            for (std::size_t i = 0; i < counts.size(); ++i) {
                if (counts[i] != 0)
                    write(qint64(i) / columns, qint64(i) % columns, counts[i]);
            }
            for (int column = 0; column < columns; ++column) {
                const quint32 count = m_pattern.getOverflowCounts()[std::size_t(column)];
                if (count != 0)
                    write(-1, column, count);
            }
            write(-2, -1, m_pattern.getDroppedCount());
            return true;
        });
    }

    /// The file appears whole or not at all.
    template <class Write>
    QString save(Write write) const
    {
        QSaveFile file(m_options.output);
        file.setDirectWriteFallback(true);
        if (file.open(QIODevice::WriteOnly) && write(file) && file.error() == QFileDevice::NoError && file.commit())
            return {};
        return QStringLiteral("\"%1\" cannot be written: %2.").arg(m_options.output, file.errorString());
    }

    NoxHost::PeriodSource &m_source;
    const PatternOptions m_options;
    const NoxHost::RecordedBuilding *const m_recorded;
    NoxHost::ProgressLine m_progress;
    Pattern m_pattern;
    double m_scaleCharge = 0.0;
    QString m_unit;
    quint64 m_periods = 0;
    quint64 m_pulses = 0;
    std::map<int, double> m_seconds; // by channel
};

void readSize(CommandLine &line, PatternOptions &options)
{
    if (!line.parser().isSet(QStringLiteral("size")))
        return;
    static const QRegularExpression form(QStringLiteral("^([0-9]{1,5})x([0-9]{1,5})$"));
    const QString text = line.parser().value(QStringLiteral("size"));
    const auto match = form.match(text);
    options.columns = match.captured(1).toInt();
    options.rows = match.captured(2).toInt();
    constexpr int Most = std::numeric_limits<quint16>::max();
    if (options.columns < 1 || options.rows < 1 || options.columns > Most || options.rows > Most ||
        quint64(options.columns) * quint64(options.rows) > Pattern::MaximumCells)
        line.complain(QStringLiteral("--size: \"%1\" is not COLUMNSxROWS, each from 1 to %2 and together at most %3 "
                                     "cells.")
                          .arg(text)
                          .arg(Most)
                          .arg(Pattern::MaximumCells));
}

void readSpan(CommandLine &line, PatternOptions &options)
{
    if (!line.parser().isSet(QStringLiteral("span")))
        return;
    const QString text = line.parser().value(QStringLiteral("span"));
    const QStringList ends = text.split(QLatin1Char(':'));
    const auto read = [](const QString &end, double &seconds) {
        const auto value = end.isEmpty() ? std::optional(seconds) : readTime(end);
        seconds = value.value_or(seconds);
        return value.has_value();
    };
    if (ends.size() != 2 || !read(ends[0], options.from) || !read(ends[1], options.to) || options.to <= options.from)
        line.complain(QStringLiteral("--span: \"%1\" is not FROM:TO, such as 10s:1min or 30:.").arg(text));
}

PatternOptions readOptions(CommandLine &line)
{
    const QCommandLineParser &parser = line.parser();
    PatternOptions options;
    options.output = parser.value(QStringLiteral("o"));
    options.isPicture = options.output.endsWith(QLatin1String(".png"), Qt::CaseInsensitive);
    if (options.output.isEmpty())
        line.complain(QStringLiteral("-o is missing: where shall the pattern go?"));
    else if (!options.isPicture && !options.output.endsWith(QLatin1String(".csv"), Qt::CaseInsensitive))
        line.complain(QStringLiteral("-o: \"%1\" ends with neither .png nor .csv.").arg(options.output));
    readSize(line, options);
    constexpr double LargestScale = std::numeric_limits<double>::max();
    options.scalePhase = line.number(QStringLiteral("scale-phase"), SmallestScale, LargestPhase).value_or(360.0);
    options.scaleCharge = line.number(QStringLiteral("scale-charge"), SmallestScale, LargestScale);
    options.bipolar = parser.isSet(QStringLiteral("bipolar"));
    options.logarithmic = parser.isSet(QStringLiteral("log"));
    if (parser.isSet(QStringLiteral("palette"))) {
        const auto palette = CommonNOX::Data::FindPalette(parser.value(QStringLiteral("palette")));
        options.palette = palette.value_or(options.palette);
        if (!palette)
            line.complain(QStringLiteral("--palette: \"%1\" is none of %2.")
                              .arg(parser.value(QStringLiteral("palette")),
                                   CommonNOX::Data::GetPaletteNames().join(QStringLiteral(", "))));
    }
    options.channel = line.wholeNumber(QStringLiteral("channel"), 0, std::numeric_limits<qint32>::max());
    readSpan(line, options);
    readBuildingOptions(line, options.building);
    return options;
}

/// A period belongs to the second in which it starts.
ReplaySelection selectionOf(const PatternOptions &options)
{
    ReplaySelection selection;
    if (options.channel)
        selection.channels.insert(int(*options.channel));
    const auto second = [](double seconds) {
        return quint32(std::clamp(std::ceil(seconds), 0.0, double(std::numeric_limits<quint32>::max())));
    };
    if (std::isfinite(options.from))
        selection.fromSecond = second(options.from);
    if (std::isfinite(options.to))
        selection.toSecond = second(options.to);
    return selection;
}

} // namespace

int runPattern(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("pattern"), QStringLiteral("FILE.pdr|PULSES.csv"),
                     QStringLiteral("Writes the phase-resolved pattern of pulses as a picture or as counts."),
                     QStringLiteral("nox pattern recording.pdr -o pattern.png --bipolar"));
    addBuildingOptions(line);
    line.parser().addOptions(
        {{QStringLiteral("o"), QStringLiteral("Where to: a .png or a .csv."), QStringLiteral("file")},
         {QStringLiteral("size"), QStringLiteral("Columns and rows (default: 400x300)."), QStringLiteral("size")},
         {QStringLiteral("scale-phase"), QStringLiteral("Degrees that the columns cover (default: 360)."),
          QStringLiteral("degrees")},
         {QStringLiteral("scale-charge"), QStringLiteral("Charge at the top (default: from the data)."),
          QStringLiteral("charge")},
         {QStringLiteral("bipolar"), QStringLiteral("Rows of their own for negative charges.")},
         {QStringLiteral("log"), QStringLiteral("Logarithmic charge axis.")},
         {QStringLiteral("palette"), QStringLiteral("viridis, rainbow or greys (default: viridis)."),
          QStringLiteral("name")},
         {QStringLiteral("channel"), QStringLiteral("Only this channel (default: all)."), QStringLiteral("number")},
         {QStringLiteral("span"), QStringLiteral("Only periods that start in this time, such as 10s:1min."),
          QStringLiteral("from:to")}});
    if (const auto status = line.parse(arguments, 1, 1))
        return *status;
    const PatternOptions options = readOptions(line);
    const QString path = line.parser().positionalArguments().first();
    line.forbidReplacing(QStringLiteral("o"), path);
    if (const auto status = line.reportComplaint())
        return *status;
    if (path.endsWith(CommonNOX::PD::Recording::FileSuffix, Qt::CaseInsensitive)) {
        const auto loader = openRecording(path);
        if (!loader)
            return Failed;
        NoxHost::RecordedPeriodSource source(loader, selectionOf(options));
        const NoxHost::RecordedBuilding recorded(loader, options.building);
        return PatternReport(source, options, &recorded).run();
    }
    NoxHost::CsvPeriodSource source(path);
    return PatternReport(source, options).run();
}

} // namespace Nox
