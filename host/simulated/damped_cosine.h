#pragma once

#include <QString>

#include <vector>

namespace NoxHost
{

/// A synthetic damped-AC shot: a damped cosine, noise, and reflections of a discharge from the far end of a cable.
struct DampedCosineSettings
{
    qint64 samples = 100'000;
    double sampleRate = 1e6;      ///< samples a second
    double frequency = 100.0;     ///< Hz
    double damping = 20.0;        ///< 1/s
    double amplitude = 1e6;       ///< converter units
    double noise = 2e3;           ///< standard deviation
    int reflections = 5;          ///< pulses, each half of the one before
    double reflectionTime = 1e-3; ///< seconds between them
    quint64 seed = 1;
};

/// "NAME=VALUE,..." with the names samples, rate, frequency, damping, amplitude, noise, reflections, reflection-time,
/// seed. False, with one sentence, for anything else and what is out of range.
bool readDampedCosine(const QString &text, DampedCosineSettings &settings, QString &error);

/// Whole numbers; the same settings give the same ones.
std::vector<double> makeDampedCosine(const DampedCosineSettings &settings);

} // namespace NoxHost
