#pragma once

#include "host/pulses/raw_period.h"

#include <string>

namespace NoxHost
{

/// The header line of a pulse CSV, with its end; docs/pulse-csv.md tells the format.
std::string pulseCsvHeader();
/// The rows of a period: one a pulse, or one without a pulse. Read again they give the same period, bit by bit.
void appendPulseCsv(const RawPeriod &period, std::string &text);

} // namespace NoxHost
