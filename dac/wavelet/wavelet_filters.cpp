#include "dac/wavelet/wavelet_filters.h"

#include "dac/wavelet/wavelet_tables.h"

#include <QHash>

#include <algorithm>
#include <cmath>

namespace CommonNOX::DAC::Wavelets
{

namespace
{

std::vector<double> reversed(const std::vector<double> &filter)
{
    return {filter.rbegin(), filter.rend()};
}

/// Every second sign turned, from the first or from the second on.
std::vector<double> alternated(std::vector<double> filter, std::size_t first)
{
    for (std::size_t i = first; i < filter.size(); i += 2)
        filter[i] = -filter[i];
    return filter;
}

/// The high-pass filters are the quadrature mirrors of the other side's low-pass filters.
std::shared_ptr<const WaveletFilters> makeFilters(const std::vector<double> &decompositionLow,
                                                  const std::vector<double> &reconstructionLow)
{
    return std::make_shared<WaveletFilters>(WaveletFilters{decompositionLow, alternated(reconstructionLow, 0),
                                                           reconstructionLow, alternated(decompositionLow, 1)});
}

struct Wavelets
{
    QHash<QString, std::shared_ptr<const WaveletFilters>> filters;
    QStringList names;

    void add(const QString &name, const std::shared_ptr<const WaveletFilters> &wavelet)
    {
        filters.insert(name, wavelet);
        names.append(name);
    }

    Wavelets()
    {
        for (const OrthogonalTable &table : OrthogonalTables()) {
            const auto wavelet = makeFilters(table.low, reversed(table.low));
            if (names.isEmpty())
                add(QStringLiteral("haar"), wavelet); // the first of the Daubechies filters
            add(QString::fromLatin1(table.name), wavelet);
        }
        for (const BiorthogonalTable &table : BiorthogonalTables())
            add(QStringLiteral("bior") + QLatin1String(table.name),
                makeFilters(table.decompositionLow, table.reconstructionLow));
        for (const BiorthogonalTable &table : BiorthogonalTables())
            add(QStringLiteral("rbio") + QLatin1String(table.name),
                makeFilters(reversed(table.reconstructionLow), reversed(table.decompositionLow)));
    }
};

const Wavelets &wavelets()
{
    static const Wavelets instance;
    return instance;
}

} // namespace

int WaveletFilters::getMaximumLevel(qint64 samples) const
{
    if (samples < 2)
        return 0;
    int level = 0;
    // In whole numbers: a logarithm of a power of two may fall short of it.
    while ((samples >> (level + 1)) >= getLength() - 1)
        ++level;
    return level;
}

std::shared_ptr<const WaveletFilters> FindWavelet(const QString &name)
{
    return wavelets().filters.value(name);
}

QStringList ListWavelets()
{
    return wavelets().names;
}

} // namespace CommonNOX::DAC::Wavelets
