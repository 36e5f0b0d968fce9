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

bool readItem(const QString &key, const QString &value, SimulatorRequest &request, QString &error)
{
    SimulatedSignalSettings &settings = request.settings;
    bool isGood = true;
    if (key == QLatin1String("channels"))
        settings.channels = value.toInt(&isGood);
    else if (key == QLatin1String("seed"))
        settings.seed = value.toULongLong(&isGood);
    else if (key == QLatin1String("frequency"))
        settings.powerFrequency = value.toDouble(&isGood);
    else if (key == QLatin1String("pulses"))
        settings.pulsesPerPeriod = value.toDouble(&isGood);
    else if (key == QLatin1String("source"))
        isGood = readKinds(value, settings.kinds);
    else if (key == QLatin1String("voltage-profile"))
        return VoltageProfile::fromText(value, settings.profile, error);
    else if (key == QLatin1String("speed"))
        isGood =
            (request.speed = value.toDouble(&isGood), isGood && std::isfinite(request.speed) && request.speed >= 0);
    else
        error = QStringLiteral("the simulator has no setting \"%1\".").arg(key);
    if (!isGood)
        error = QStringLiteral("\"%1\" is no value for the simulator's setting \"%2\".").arg(value, key);
    return error.isEmpty();
}

} // namespace

bool readSimulatorUrl(const QUrl &url, SimulatorRequest &request, QString &error)
{
    request = {};
    request.settings.channels = 2;
    error.clear();
    const auto items = QUrlQuery(url).queryItems(QUrl::FullyDecoded);
    for (const auto &[key, value] : items) {
        if (!readItem(key, value, request, error))
            return false;
    }
    error = request.settings.error();
    return error.isEmpty();
}

} // namespace NoxHost
