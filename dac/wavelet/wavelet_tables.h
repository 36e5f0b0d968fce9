#pragma once

#include <vector>

namespace CommonNOX::DAC::Wavelets
{

struct OrthogonalTable
{
    const char *name;
    std::vector<double> low; ///< of decomposition
};

struct BiorthogonalTable
{
    const char *name; ///< behind "bior" and "rbio"
    std::vector<double> decompositionLow;
    std::vector<double> reconstructionLow; ///< of the same length, padded with zeros
};

const std::vector<OrthogonalTable> &OrthogonalTables();
const std::vector<BiorthogonalTable> &BiorthogonalTables();

} // namespace CommonNOX::DAC::Wavelets
