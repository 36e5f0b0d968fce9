#pragma once

#include <QtGlobal>
#include <array>

namespace NoxHost
{

/// Random numbers that are the same on every machine, compiler and standard library.
///
/// The generator is xoshiro256** (D. Blackman, S. Vigna, "Scrambled linear pseudorandom number generators", ACM
/// Trans. Math. Softw. 47(4), 2021), its state filled by splitmix64. The distributions use additions, multiplications
/// and comparisons of doubles only, never the mathematics library, whose last bits differ between systems.
class PortableRandom
{
public:
    /// Streams of different arguments are independent of each other for all practical purposes.
    PortableRandom(quint64 seed, quint64 stream, quint64 position);

    quint64 next();
    double uniform();         ///< in [0, 1), multiples of 2^-53
    double normal();          ///< mean 0, deviation 1, as the sum of twelve uniform numbers; within -6 to 6
    double exponential();     ///< mean 1
    int poisson(double mean); ///< takes a time in proportion to @p mean

private:
    std::array<quint64, 4> m_state;
};

/// The sine of 2 pi @p turns, correct to about 1e-15 and the same on every machine.
double portableSine(double turns);

} // namespace NoxHost
