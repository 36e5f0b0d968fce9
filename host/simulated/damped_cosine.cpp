#include "host/simulated/damped_cosine.h"

#include "host/simulated/portable_random.h"

#include <QStringList>

#include <cmath>

namespace NoxHost
{

namespace
{

constexpr double MostSynthetic = 1e8;
/// Samples until a reflection has fallen to a third.
constexpr double WidthOfReflection = 5.0;
constexpr double HeightOfReflection = 0.2; ///< of the amplitude

struct Item
{
    const char *name;
    double lowest;
    double highest;
    void (*set)(DampedCosineSettings &settings, double value);
};

constexpr Item Items[] = {
    {"samples", 1, MostSynthetic, [](DampedCosineSettings &s, double v) { s.samples = qint64(v); }},
    {"rate", 1e-3, 1e12, [](DampedCosineSettings &s, double v) { s.sampleRate = v; }},
    {"frequency", 0, 1e9, [](DampedCosineSettings &s, double v) { s.frequency = v; }},
    {"damping", 0, 1e9, [](DampedCosineSettings &s, double v) { s.damping = v; }},
    {"amplitude", 0, 2e9, [](DampedCosineSettings &s, double v) { s.amplitude = v; }},
    {"noise", 0, 1e9, [](DampedCosineSettings &s, double v) { s.noise = v; }},
    {"reflections", 0, 1000, [](DampedCosineSettings &s, double v) { s.reflections = int(v); }},
    {"reflection-time", 0, 1e6, [](DampedCosineSettings &s, double v) { s.reflectionTime = v; }},
    {"seed", 0, 9e15, [](DampedCosineSettings &s, double v) { s.seed = quint64(v); }},
};

} // namespace

bool readDampedCosine(const QString &text, DampedCosineSettings &settings, QString &error)
{
    const QStringList parts = text.split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString &part : parts) {
        const QString name = part.section(QLatin1Char('='), 0, 0);
        bool isNumber = false;
        const double value = part.section(QLatin1Char('='), 1).toDouble(&isNumber);
        bool isTaken = false;
        for (const Item &item : Items) {
            if (name != QLatin1String(item.name) || !isNumber || !(value >= item.lowest) || !(value <= item.highest))
                continue;
            item.set(settings, value);
            isTaken = true;
        }
        if (!isTaken) {
            error = QStringLiteral("\"%1\" is no setting of a synthetic shot.").arg(part);
            return false;
        }
    }
    return true;
}

std::vector<double> makeDampedCosine(const DampedCosineSettings &settings)
{
    PortableRandom random(settings.seed, 0, 0);
    std::vector<double> samples(std::size_t(settings.samples), 0.0);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double seconds = double(i) / settings.sampleRate;
        samples[i] = settings.amplitude * std::exp(-settings.damping * seconds) *
                         portableSine(settings.frequency * seconds + 0.25) +
                     settings.noise * random.normal();
    }
    double height = HeightOfReflection * settings.amplitude;
    for (int reflection = 1; reflection <= settings.reflections; ++reflection, height /= 2.0) {
        const double first = reflection * settings.reflectionTime * settings.sampleRate;
        for (int k = 0; k < 8 * WidthOfReflection && first + k < double(samples.size()); ++k)
            samples[std::size_t(first) + std::size_t(k)] += height * std::exp(-k / WidthOfReflection);
    }
    for (double &sample : samples)
        sample = std::round(sample);
    return samples;
}

} // namespace NoxHost
