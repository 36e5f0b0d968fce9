#pragma once

#include <QString>

#include <optional>
#include <vector>

namespace NoxHost
{

/// Which series of a table; of one series a file needs neither.
struct SeriesChoice
{
    std::optional<qint64> column; ///< from 0
    std::optional<qint64> row;    ///< from 0
};

/// Most samples that are read.
constexpr qint64 MostSamples = 100'000'000;

/// Reads a series of samples from a text file or a NumPy file.
///
/// Text: a value a line, or a table whose fields are separated by tabs, commas, semicolons or spaces; empty lines and
/// what follows "#" are left out, a first line that is no numbers is taken for names. NumPy (.npy, versions 1 to 3):
/// whole numbers of 1 to 8 bytes or reals of 4 or 8, of one or two dimensions, row by row. False, with one sentence,
/// for anything else, and for values that are not finite.
bool readSamples(const QString &path, const SeriesChoice &choice, std::vector<double> &samples, QString &error);

} // namespace NoxHost
