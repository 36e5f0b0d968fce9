#include "apps/nox/command.h"
#include "dac/samples/sample_utilities.h"
#include "dac/wavelet/wavelet_transform.h"
#include "host/evaluation/reading_format.h"
#include "host/report/shot_plot.h"
#include "host/samples/sample_file.h"
#include "host/simulated/damped_cosine.h"
#include "host/terminal/output.h"
#include "host/terminal/output_file.h"

#include <QFileInfo>
#include <QSaveFile>

#include <cmath>
#include <limits>

namespace Nox
{

using namespace CommonNOX::DAC;
using utils::SampleData;

namespace
{

/// What samples that are no whole numbers are scaled to.
constexpr double FullRange = 16'777'216.0;

/// A wavelet and a level, such as "db4:5".
struct WaveletChoice
{
    QString name; ///< empty for none
    int level = 0;

    explicit operator bool() const { return !name.isEmpty(); }
};

WaveletChoice readWavelet(CommandLine &line, const QString &option)
{
    if (!line.parser().isSet(option))
        return {};
    const QString text = line.parser().value(option);
    bool isNumber = false;
    const WaveletChoice choice{text.section(QLatin1Char(':'), 0, 0),
                               text.section(QLatin1Char(':'), 1).toInt(&isNumber)};
    if (choice.name.isEmpty() || !isNumber)
        line.complain(QStringLiteral("--%1: \"%2\" is not WAVELET:LEVEL, such as db4:5.").arg(option, text));
    return choice;
}

struct PeakChoice
{
    int index = 0;
    double level = 0.0;
};

std::optional<PeakChoice> readPeak(CommandLine &line)
{
    const QString option = QStringLiteral("peak-width");
    if (!line.parser().isSet(option))
        return std::nullopt;
    const QString text = line.parser().value(option);
    bool isIndex = false;
    bool isLevel = false;
    const PeakChoice choice{text.section(QLatin1Char(':'), 0, 0).toInt(&isIndex),
                            text.section(QLatin1Char(':'), 1).toDouble(&isLevel)};
    if (!isIndex || !isLevel || !std::isfinite(choice.level))
        line.complain(QStringLiteral("--peak-width: \"%1\" is not INDEX:LEVEL, such as 1200:0.5.").arg(text));
    return choice;
}

/// Samples as whole numbers, and what a whole number stands for.
class WholeSamples
{
public:
    explicit WholeSamples(const std::vector<double> &values)
    {
        constexpr double Lowest = std::numeric_limits<SampleData>::min();
        constexpr double Highest = std::numeric_limits<SampleData>::max();
        double largest = 0.0;
        for (const double value : values) {
            largest = std::max(largest, std::abs(value));
            m_isFractional = m_isFractional || value != std::floor(value);
            m_isScaled = m_isScaled || m_isFractional || value < Lowest || value > Highest;
        }
        if (m_isScaled)
            m_factor = FullRange / largest;
        samples.reserve(int(values.size()));
        for (const double value : values)
            samples.append(SampleData(m_isScaled ? std::round(value * m_factor) : value));
    }

    bool isScaled() const { return m_isScaled; }
    bool isFractional() const { return m_isFractional; }
    std::vector<double> toValues(const QVector<SampleData> &whole) const
    {
        std::vector<double> values;
        values.reserve(std::size_t(whole.size()));
        for (const SampleData sample : whole)
            values.push_back(m_isScaled ? sample / m_factor : double(sample));
        return values;
    }

    QVector<SampleData> samples;

private:
    bool m_isScaled = false;
    bool m_isFractional = false;
    double m_factor = 1.0;
};

/// What is done with a series, in this order.
struct ShotPlan
{
    WaveletChoice denoise;
    std::optional<qint64> decimate;
    std::optional<qint64> downsample;
    WaveletChoice transform;
    bool zeroCrossings = false;
    std::optional<PeakChoice> peak;
    QString output;
    QString title;

    bool isPicture() const { return output.endsWith(QLatin1String(".png"), Qt::CaseInsensitive); }
};

class Shot
{
public:
    Shot(std::vector<double> raw, const ShotPlan &plan) : m_raw(std::move(raw)), m_plan(plan), m_values(m_raw) {}

    int run()
    {
        QString error = clean();
        if (error.isEmpty())
            error = reduce();
        if (error.isEmpty())
            error = m_plan.isPicture() ? draw() : write();
        if (error.isEmpty())
            return Done;
        printMessage(error);
        return Failed;
    }

private:
    QString clean()
    {
        if (!m_plan.denoise)
            return {};
        QString objection;
        const WaveletChoice &choice = m_plan.denoise;
        if (!utils::CheckDenoising(qint64(m_values.size()), choice.level, choice.name, objection))
            return QStringLiteral("the samples cannot be denoised: %1.").arg(objection);
        const WholeSamples whole(m_values);
        if (whole.isScaled())
            printMessage(QStringLiteral("the samples are %1; they are scaled to a full range of 2^24 and back.")
                             .arg(whole.isFractional() ? QStringLiteral("no whole numbers")
                                                       : QStringLiteral("beyond the whole numbers of 32 bits")));
        m_values = whole.toValues(utils::DenoiseSampleData(whole.samples, choice.level, choice.name));
        return {};
    }

    QString reduce()
    {
        const auto apply = [this](const char *what, const std::optional<qint64> &factor, auto reduction) {
            QVector<double> reduced;
            if (factor && !reduction(QVector<double>(m_values.begin(), m_values.end()), int(*factor), reduced))
                return QStringLiteral("%1 samples cannot be %2 by %3.")
                    .arg(m_values.size())
                    .arg(QLatin1String(what))
                    .arg(*factor);
            if (factor)
                m_values.assign(reduced.begin(), reduced.end());
            return QString();
        };
        const QString error = apply("decimated", m_plan.decimate, &utils::DecimateSamples);
        return error.isEmpty() ? apply("downsampled", m_plan.downsample, &utils::DownsampleSamples) : error;
    }

    QString draw() const
    {
        const bool isChanged = m_plan.denoise || m_plan.decimate || m_plan.downsample;
        const QImage image =
            NoxHost::drawShotPlot(m_raw, isChanged ? m_values : std::vector<double>(), toOneLine(m_plan.title));
        QSaveFile file(m_plan.output);
        if (file.open(QIODevice::WriteOnly) && image.save(&file, "PNG") && file.commit())
            return {};
        return QStringLiteral("\"%1\" cannot be written: %2.").arg(m_plan.output, file.errorString());
    }

    QString write() const
    {
        NoxHost::OutputFile file(m_plan.output);
        QString error;
        if (!file.open(error))
            return QStringLiteral("\"%1\" cannot be written: %2.").arg(m_plan.output, error);
        {
            NoxHost::Output output(file.getStream());
            const QString sentence = m_plan.transform       ? writeBands(output)
                                     : m_plan.zeroCrossings ? writeCrossings(output)
                                     : m_plan.peak          ? writePeak(output)
                                                            : writeValues(output);
            if (!sentence.isEmpty())
                return sentence;
            output.flush();
            error = output.getError();
        }
        if (error.isEmpty())
            file.commit(error);
        return error.isEmpty() ? QString() : QStringLiteral("the values cannot be written: %1.").arg(error);
    }

    QString writeValues(NoxHost::Output &output) const
    {
        output.write("index,value\n");
        for (std::size_t i = 0; i < m_values.size(); ++i)
            output.write(std::to_string(i) + ',' + NoxHost::csvField(m_values[i]) + '\n');
        return {};
    }

    QString writeCrossings(NoxHost::Output &output) const
    {
        QVector<int> crossings;
        QVector<int> signs;
        if (m_values.size() < utils::LeastSamplesOfCrossings)
            printMessage(
                QStringLiteral("crossings are looked for in %1 samples and more.").arg(utils::LeastSamplesOfCrossings));
        utils::ExtractZeroCrossings(QVector<double>(m_values.begin(), m_values.end()), crossings, &signs);
        output.write("index,sign\n");
        for (int i = 0; i < crossings.size(); ++i)
            output.write(std::to_string(crossings[i]) + ',' + std::to_string(signs[i]) + '\n');
        return {};
    }

    QString writePeak(NoxHost::Output &output) const
    {
        if (m_plan.peak->index < 0 || std::size_t(m_plan.peak->index) >= m_values.size())
            return QStringLiteral("there is no sample %1 of %2.").arg(m_plan.peak->index).arg(m_values.size());
        const WholeSamples whole(m_values);
        const auto width = utils::CalculateDacPeakWidth(whole.samples, m_plan.peak->index, m_plan.peak->level);
        output.write("index,level,width\n" + std::to_string(m_plan.peak->index) + ',' +
                     NoxHost::csvField(m_plan.peak->level) + ',' + std::to_string(width) + '\n');
        return {};
    }

    QString writeBands(NoxHost::Output &output) const
    {
        const WaveletChoice &choice = m_plan.transform;
        QString objection;
        if (!utils::CheckDenoising(qint64(m_values.size()), choice.level, choice.name, objection))
            return QStringLiteral("the samples cannot be transformed: %1.").arg(objection);
        const auto bands = Wavelets::Decompose(Wavelets::FindWavelet(choice.name), m_values, choice.level);
        output.write("band,index,value\n");
        for (std::size_t band = 0; band < bands.size(); ++band) {
            const std::string name =
                band == 0 ? 'a' + std::to_string(choice.level) : 'd' + std::to_string(bands.size() - band);
            for (std::size_t i = 0; i < bands[band].size(); ++i)
                output.write(name + ',' + std::to_string(i) + ',' + NoxHost::csvField(bands[band][i]) + '\n');
        }
        return {};
    }

    const std::vector<double> m_raw;
    const ShotPlan m_plan;
    std::vector<double> m_values;
};

void addOptions(QCommandLineParser &parser)
{
    const auto add = [&parser](const QStringList &names, const char *text, const char *value) {
        parser.addOption({names, QString::fromLatin1(text), QString::fromLatin1(value)});
    };
    add({QStringLiteral("denoise")}, "Remove what lies below the universal threshold, such as db4:5.", "wavelet:level");
    add({QStringLiteral("decimate")}, "The mean of each N samples.", "N");
    add({QStringLiteral("downsample")}, "The largest magnitude of each N samples.", "N");
    add({QStringLiteral("transform")}, "Write the bands of a wavelet transform.", "wavelet:level");
    parser.addOption({QStringLiteral("zero-crossings"), QStringLiteral("Write where the sign changes.")});
    add({QStringLiteral("peak-width")}, "Write how wide a peak is at a part of its height.", "index:level");
    add({QStringLiteral("column")}, "Of a table this column, from 0.", "number");
    add({QStringLiteral("row")}, "Of a table this row, from 0.", "number");
    add({QStringLiteral("synthetic")},
        "No file but a synthetic shot: samples, rate, frequency, damping, amplitude, noise, reflections, "
        "reflection-time, seed.",
        "name=value,...");
    add({QStringLiteral("o"), QStringLiteral("output-file")}, "Write into this .csv, or draw into this .png.", "file");
}

} // namespace

int runShot(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("shot"), QStringLiteral("SAMPLES.csv|.npy|.tsv"),
                     QStringLiteral("Cleans, reduces, transforms and measures the samples of a damped-AC shot."),
                     QStringLiteral("nox shot --synthetic frequency=80,noise=5000 --denoise db4:5 -o shot.png"));
    addOptions(line.parser());
    if (const auto status = line.parse(arguments, 0, 1))
        return *status;
    const QCommandLineParser &parser = line.parser();
    constexpr qint64 Most = std::numeric_limits<int>::max();
    ShotPlan plan;
    plan.denoise = readWavelet(line, QStringLiteral("denoise"));
    plan.decimate = line.wholeNumber(QStringLiteral("decimate"), 1, Most);
    plan.downsample = line.wholeNumber(QStringLiteral("downsample"), 1, Most);
    plan.transform = readWavelet(line, QStringLiteral("transform"));
    plan.zeroCrossings = parser.isSet(QStringLiteral("zero-crossings"));
    plan.peak = readPeak(line);
    plan.output = parser.value(QStringLiteral("o"));
    const NoxHost::SeriesChoice choice{line.wholeNumber(QStringLiteral("column"), 0, Most),
                                       line.wholeNumber(QStringLiteral("row"), 0, Most)};
    const bool isSynthetic = parser.isSet(QStringLiteral("synthetic"));
    NoxHost::DampedCosineSettings synthetic;
    QString error;
    if (isSynthetic && !NoxHost::readDampedCosine(parser.value(QStringLiteral("synthetic")), synthetic, error))
        line.complain(error);
    if (isSynthetic == (parser.positionalArguments().size() == 1))
        line.complain(QStringLiteral("give a file of samples or --synthetic."));
    if (int(bool(plan.transform)) + int(plan.zeroCrossings) + int(plan.peak.has_value()) > 1)
        line.complain(QStringLiteral("choose one of --transform, --zero-crossings and --peak-width."));
    const bool hasTable = plan.transform || plan.zeroCrossings || plan.peak;
    if (hasTable && plan.isPicture())
        line.complain(QStringLiteral("-o: a picture shows the samples, the result goes into a .csv."));
    if (!isSynthetic && !parser.positionalArguments().isEmpty())
        line.forbidReplacing(QStringLiteral("o"), parser.positionalArguments().first());
    if (choice.row && choice.column)
        line.complain(QStringLiteral("choose a row or a column."));
    if (const auto status = line.reportComplaint())
        return *status;
    if (isSynthetic) {
        plan.title = QStringLiteral("synthetic shot");
        return Shot(NoxHost::makeDampedCosine(synthetic), plan).run();
    }
    const QString path = parser.positionalArguments().first();
    plan.title = QFileInfo(path).completeBaseName();
    std::vector<double> samples;
    if (!NoxHost::readSamples(path, choice, samples, error)) {
        printMessage(error);
        return Failed;
    }
    return Shot(std::move(samples), plan).run();
}

} // namespace Nox
