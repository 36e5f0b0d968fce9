#pragma once

#include "host/samples/sample_file.h"

class QFile;

namespace NoxHost
{

/// Whether the file begins as a NumPy file does.
bool isNpyFile(QFile &file);
/// As readSamples(), without the name of the file in front.
bool readNpySamples(QFile &file, const SeriesChoice &choice, std::vector<double> &samples, QString &error);

} // namespace NoxHost
