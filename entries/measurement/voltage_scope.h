#pragma once

#include "entries/measurement/samples.h"
#include "nox_export.h"

#include <QString>

#include <memory>

namespace CommonNOX::Entries::Results::Space2D
{
class VoltageScopeV1;
}

namespace CommonNOX::Data
{

/// The test voltage of one stretch of time, scaled, with its measures. Immutable once built; any thread.
class NOX_EXPORT VoltageScope
{
public:
    /// Scales the samples and gathers the measures. False, and the scope is empty, without an entry, without
    /// samples, or with a sample rate of 0.
    bool preProcess(const std::shared_ptr<const Entries::Results::Space2D::VoltageScopeV1> &entry);

    bool isValid() const { return !m_samples.isEmpty(); }
    /// "kV" when calibrated, else "p.u.".
    QString getUnit() const;
    bool isCalibrated() const { return m_calibrated; }
    const Entries::ValueVector &getSamples() const { return m_samples; }
    quint32 getSampleRate() const { return m_sampleRate; } ///< samples per second

    double getMinimum() const { return m_minimum; }
    double getMaximum() const { return m_maximum; }
    /// The largest magnitude.
    double getPeak() const;
    /// Over whole cycles from rising zero crossing to rising zero crossing where there are any, else over all
    /// samples.
    double getRms() const { return m_rms; }
    /// Hz, from the rising crossings of the mean value; 0 where fewer than two are found.
    double getFrequency() const { return m_frequency; }

private:
    void measureCycles();

    Entries::ValueVector m_samples;
    quint32 m_sampleRate = 0;
    bool m_calibrated = false;
    double m_minimum = 0.0;
    double m_maximum = 0.0;
    double m_rms = 0.0;
    double m_frequency = 0.0;
};

} // namespace CommonNOX::Data
