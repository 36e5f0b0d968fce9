#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <vector>

namespace NoxHost
{

/// The settable parameters of an instrument: `chN/pd_calibration`, `chN/gain` and `chN/enabled` of each channel.
class InstrumentParameters
{
public:
    struct Channel
    {
        double pdCalibration; ///< pC per corrected unit, 1e-4 to 1000
        double gain = 1.0;    ///< 0.1 to 10
        bool isEnabled = true;
    };

    struct Outcome
    {
        bool isChanged = false;
        QJsonValue value; ///< in force afterwards; undefined for a parameter that does not exist
        QString reason;   ///< one sentence why the request is rejected; empty when it is not
    };

    InstrumentParameters(int channels, double pdCalibration);

    const Channel &channel(int index) const { return m_channels[std::size_t(index)]; }
    /// All names with their values.
    QJsonObject values() const;
    Outcome set(const QString &name, const QJsonValue &value);

private:
    std::vector<Channel> m_channels;
};

} // namespace NoxHost
