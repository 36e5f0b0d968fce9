#pragma once

#include "dac/wavelet/wavelet_filters.h"
#include "nox_export.h"

#include <vector>

namespace CommonNOX::DAC::Wavelets
{

/// The bands of a decomposition: the approximation of the deepest level, then the details from the deepest level up.
using Bands = std::vector<std::vector<double>>;

/// The discrete wavelet transform (Mallat, A Wavelet Tour of Signal Processing, 7.3) over a series that goes on at its
/// ends as in a mirror, the last sample twice. A band of n samples becomes two of floor((n + length - 1) / 2). Any
/// level from 1 on and any series that is not empty is taken; no bands for anything else. Any thread.
NOX_EXPORT Bands Decompose(const WaveletFilters &wavelet, const std::vector<double> &samples, int levels);

/// The reverse, of bands as Decompose() makes them. A series of odd length comes back one sample longer.
NOX_EXPORT std::vector<double> Reconstruct(const WaveletFilters &wavelet, const Bands &bands);

} // namespace CommonNOX::DAC::Wavelets
