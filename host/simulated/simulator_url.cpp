#include "host/simulated/simulator_url.h"

#include <QUrlQuery>

#include <cmath>

namespace NoxHost
{

namespace
{

bool readKinds(const QString &text, std::vector<DischargeKind> &kinds)
{
    kinds.clear();
    for (const QString &name : text.split(QLatin1Char(','))) {
        DischargeKind kind = DischargeKind::Void;
        if (!dischargeKindFromName(name, kind))
            return false;
        kinds.push_back(kind);
    }
    return true;
}

} // namespace

bool readSimulatorSetting(const QString &name, const QString &value, SimulatorRequest &request, QString &error)
{
    SimulatedSignalSettings &settings = request.settings;
    error.clear();
    bool isGood = true;
    if (name == QLatin1String("channels"))
        settings.channels = value.toInt(&isGood);
    else if (name == QLatin1String("seed"))
        settings.seed = value.toULongLong(&isGood);
    else if (name == QLatin1String("frequency"))
        settings.powerFrequency = value.toDouble(&isGood);
    else if (name == QLatin1String("pulses"))
        settings.pulsesPerPeriod = value.toDouble(&isGood);
    else if (name == QLatin1String("source"))
        isGood = readKinds(value, settings.kinds);
    else if (name == QLatin1String("voltage-profile"))
        return VoltageProfile::fromText(value, settings.profile, error);
    else if (name == QLatin1String("speed"))
        isGood =
            (request.speed = value.toDouble(&isGood), isGood && std::isfinite(request.speed) && request.speed >= 0);
    else
        error = QStringLiteral("the simulator has no setting \"%1\".").arg(name);
    if (!isGood)
        error = QStringLiteral("\"%1\" is no value for the simulator's setting \"%2\".").arg(value, name);
    return error.isEmpty();
}

bool readSimulatorUrl(const QUrl &url, SimulatorRequest &request, QString &error)
{
    request = {};
    error.clear();
    const auto items = QUrlQuery(url).queryItems(QUrl::FullyDecoded);
    for (const auto &[key, value] : items) {
        if (!readSimulatorSetting(key, value, request, error))
            return false;
    }
    error = request.settings.error();
    return error.isEmpty();
}

} // namespace NoxHost
