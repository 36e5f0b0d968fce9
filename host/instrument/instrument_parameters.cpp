#include "host/instrument/instrument_parameters.h"

namespace NoxHost
{

namespace
{

using Channel = InstrumentParameters::Channel;

/// A parameter that each channel has: a number within limits, or a switch.
struct Rule
{
    const char *name;
    double Channel::*number;
    double lowest;
    double highest;
};

constexpr Rule Rules[] = {
    {"pd_calibration", &Channel::pdCalibration, 1e-4, 1000.0},
    {"gain", &Channel::gain, 0.1, 10.0},
    {"enabled", nullptr, 0.0, 0.0},
};

QString nameOf(int channel, const Rule &rule)
{
    return QStringLiteral("ch%1/%2").arg(channel).arg(QLatin1String(rule.name));
}

QJsonValue valueOf(const Channel &channel, const Rule &rule)
{
    return rule.number != nullptr ? QJsonValue(channel.*rule.number) : QJsonValue(channel.isEnabled);
}

/// Stores the value, or tells why it does not fit.
QString assign(Channel &channel, const Rule &rule, const QJsonValue &value)
{
    if (rule.number == nullptr) {
        if (!value.isBool())
            return QStringLiteral("The value is neither true nor false.");
        channel.isEnabled = value.toBool();
        return {};
    }
    const double number = value.toDouble();
    if (!value.isDouble() || !(number >= rule.lowest && number <= rule.highest))
        return QStringLiteral("The value is not a number from %1 to %2.").arg(rule.lowest).arg(rule.highest);
    channel.*rule.number = number;
    return {};
}

} // namespace

InstrumentParameters::InstrumentParameters(int channels, double pdCalibration)
    : m_channels(std::size_t(channels), Channel{pdCalibration})
{}

QJsonObject InstrumentParameters::values() const
{
    QJsonObject values;
    for (int index = 0; index < int(m_channels.size()); ++index) {
        for (const Rule &rule : Rules)
            values.insert(nameOf(index, rule), valueOf(channel(index), rule));
    }
    return values;
}

InstrumentParameters::Outcome InstrumentParameters::set(const QString &name, const QJsonValue &value)
{
    Outcome outcome;
    const int index = name.section(QLatin1Char('/'), 0, 0).mid(2).toInt();
    for (const Rule &rule : Rules) {
        // The comparison of the whole name refuses whatever else would read as this number.
        if (index < 0 || index >= int(m_channels.size()) || name != nameOf(index, rule))
            continue;
        Channel &channel = m_channels[std::size_t(index)];
        const QJsonValue before = valueOf(channel, rule);
        outcome.reason = assign(channel, rule, value);
        outcome.value = valueOf(channel, rule);
        outcome.isChanged = outcome.value != before;
        return outcome;
    }
    outcome.reason = QStringLiteral("There is no such parameter.");
    outcome.value = QJsonValue(QJsonValue::Undefined);
    return outcome;
}

} // namespace NoxHost
