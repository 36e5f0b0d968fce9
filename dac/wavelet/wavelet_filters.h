#pragma once

#include "nox_export.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

namespace CommonNOX::DAC::Wavelets
{

/// The four filters of a wavelet, all of the same even length.
struct WaveletFilters
{
    std::vector<double> decompositionLow;
    std::vector<double> decompositionHigh;
    std::vector<double> reconstructionLow;
    std::vector<double> reconstructionHigh;

    int getLength() const { return int(decompositionLow.size()); }
    /// The deepest decomposition of so many samples that is more than its edges: floor(log2(samples / (length - 1))); 0
    /// for fewer than two samples.
    NOX_EXPORT int getMaximumLevel(qint64 samples) const;
};

/// Of "haar", "db1" to "db20", "sym2" to "sym20", "coif1" to "coif5", and "biorM.N" and "rbioM.N" with M.N
/// of 1.1, 1.3, 1.5, 2.2, 2.4, 2.6, 2.8, 3.1, 3.3, 3.5, 3.7, 3.9, 4.4, 5.5, 6.8. Null for any other name. Any thread.
NOX_EXPORT std::shared_ptr<const WaveletFilters> FindWavelet(const QString &name);
/// All names, family by family.
NOX_EXPORT QStringList ListWavelets();

} // namespace CommonNOX::DAC::Wavelets
