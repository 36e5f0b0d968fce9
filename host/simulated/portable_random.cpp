#include "host/simulated/portable_random.h"

#include <cmath>

namespace NoxHost
{

namespace
{

quint64 splitMix(quint64 &state)
{
    quint64 z = (state += Q_UINT64_C(0x9E3779B97F4A7C15));
    z = (z ^ (z >> 30)) * Q_UINT64_C(0xBF58476D1CE4E5B9);
    z = (z ^ (z >> 27)) * Q_UINT64_C(0x94D049BB133111EB);
    return z ^ (z >> 31);
}

quint64 rotated(quint64 x, int bits)
{
    return (x << bits) | (x >> (64 - bits));
}

} // namespace

PortableRandom::PortableRandom(quint64 seed, quint64 stream, quint64 position)
{
    // Each argument passes the mixer before the next is added, so that neighbouring triples share nothing.
    quint64 state = seed;
    state = splitMix(state) ^ stream;
    state = splitMix(state) ^ position;
    for (quint64 &word : m_state)
        word = splitMix(state);
}

quint64 PortableRandom::next()
{
    const quint64 result = rotated(m_state[1] * 5, 7) * 9;
    const quint64 t = m_state[1] << 17;
    m_state[2] ^= m_state[0];
    m_state[3] ^= m_state[1];
    m_state[1] ^= m_state[2];
    m_state[0] ^= m_state[3];
    m_state[2] ^= t;
    m_state[3] = rotated(m_state[3], 45);
    return result;
}

double PortableRandom::uniform()
{
    return double(next() >> 11) * 0x1p-53;
}

double PortableRandom::normal()
{
    double sum = -6.0;
    for (int i = 0; i < 12; ++i)
        sum += uniform();
    return sum;
}

// J. von Neumann, "Various techniques used in connection with random digits", 1951: the length of a falling run of
// uniform numbers is odd with the probability exp(-first).
double PortableRandom::exponential()
{
    for (double whole = 0.0;; whole += 1.0) {
        const double first = uniform();
        double last = first;
        bool isOdd = true;
        for (double x = uniform(); x < last; x = uniform()) {
            last = x;
            isOdd = !isOdd;
        }
        if (isOdd)
            return whole + first;
    }
}

int PortableRandom::poisson(double mean)
{
    int count = 0;
    for (double time = exponential(); time < mean; time += exponential())
        ++count;
    return count;
}

double portableSine(double turns)
{
    double x = turns - std::floor(turns);
    double sign = 1.0;
    if (x >= 0.5) {
        x -= 0.5;
        sign = -1.0;
    }
    if (x > 0.25)
        x = 0.5 - x;
    const double angle = x * 6.283185307179586;
    const double square = angle * angle;
    // The Taylor series from its small end; the first term left out is below 3e-16 at a right angle.
    double sum = 1.0;
    for (int n = 20; n >= 2; n -= 2)
        sum = 1.0 - sum * square / double(n * (n + 1));
    return sign * angle * sum;
}

} // namespace NoxHost
