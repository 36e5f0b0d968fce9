#include "entries/measurement/voltage_scope.h"

#include "entries/catalogue/results_pd.h"
#include "entries/property_keys.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace CommonNOX::Data
{

namespace Keys = Entries::Keys;
using Entries::SampleVector;

namespace
{

/// A calibration of no more than this is none.
constexpr double SmallestCalibration = 1e-12;
/// A rising crossing counts only after the signal has been this part of its range below the mean, so that noise
/// around zero makes none.
constexpr double Hysteresis = 0.1;

double rootMeanSquare(const double *begin, const double *end)
{
    const double sum = std::accumulate(begin, end, 0.0, [](double total, double v) { return total + v * v; });
    return begin == end ? 0.0 : std::sqrt(sum / double(end - begin));
}

} // namespace

bool VoltageScope::preProcess(const std::shared_ptr<const Entries::Results::Space2D::VoltageScopeV1> &entry)
{
    *this = VoltageScope();
    if (!entry)
        return false;
    const SampleVector raw = entry->get(Keys::Samples).value<SampleVector>();
    const quint32 sampleRate = entry->get(Keys::SampleRate).toUInt();
    const double calibration = entry->get(Keys::Calibration).toDouble();
    if (raw.isEmpty() || sampleRate == 0)
        return false;
    m_sampleRate = sampleRate;
    m_calibrated = std::abs(calibration) > SmallestCalibration;
    const double scale = entry->get(Keys::HardwareCorrection).toDouble() * (m_calibrated ? calibration : 1.0);
    m_samples.resize(raw.size());
    std::transform(raw.begin(), raw.end(), m_samples.begin(), [scale](qint32 sample) { return sample * scale; });
    const auto [minimum, maximum] = std::minmax_element(m_samples.cbegin(), m_samples.cend());
    m_minimum = *minimum;
    m_maximum = *maximum;
    measureCycles();
    return true;
}

QString VoltageScope::getUnit() const
{
    return m_calibrated ? QStringLiteral("kV") : QStringLiteral("p.u.");
}

double VoltageScope::getPeak() const
{
    return std::max(std::abs(m_minimum), std::abs(m_maximum));
}

void VoltageScope::measureCycles()
{
    const double mean = std::accumulate(m_samples.cbegin(), m_samples.cend(), 0.0) / m_samples.size();
    const double armLevel = mean - Hysteresis * (m_maximum - m_minimum);
    bool armed = false;
    int crossings = 0;
    int firstIndex = 0, lastIndex = 0;
    double first = 0.0, last = 0.0;
    for (int i = 1; i < m_samples.size(); ++i) {
        const double before = m_samples[i - 1], now = m_samples[i];
        armed = armed || before < armLevel;
        if (!armed || before >= mean || now < mean)
            continue;
        armed = false;
        last = i - (now - mean) / (now - before);
        lastIndex = i;
        if (crossings++ == 0) {
            first = last;
            firstIndex = i;
        }
    }
    const double *samples = m_samples.constData();
    if (crossings > 1) {
        m_frequency = (crossings - 1) * double(m_sampleRate) / (last - first);
        m_rms = rootMeanSquare(samples + firstIndex, samples + lastIndex);
    } else {
        m_rms = rootMeanSquare(samples, samples + m_samples.size());
    }
}

} // namespace CommonNOX::Data
