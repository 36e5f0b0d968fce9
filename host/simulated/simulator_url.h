#pragma once

#include "host/simulated/simulated_signal_source.h"

#include <QString>
#include <QUrl>

namespace NoxHost
{

/// What a URL such as `simulator:?channels=4&speed=0&seed=7` asks for.
struct SimulatorRequest
{
    SimulatorRequest() { settings.channels = 2; }

    SimulatedSignalSettings settings;
    double speed = 1.0; ///< measuring time over real time; 0 is as fast as it is taken
};

/// Reads one setting: `channels`, `seed`, `speed`, `frequency` (Hz), `pulses` (mean a period), `source` (void, surface,
/// corona, noise; several separated by commas) or `voltage-profile`. False with one sentence in `error` for a name that
/// is unknown and a value that is none; the ranges are those of SimulatedSignalSettings::error().
bool readSimulatorSetting(const QString &name, const QString &value, SimulatorRequest &request, QString &error);

/// Reads these settings from the query items. False with one sentence in `error` for an item that is unknown or out of
/// its range.
bool readSimulatorUrl(const QUrl &url, SimulatorRequest &request, QString &error);

} // namespace NoxHost
