#pragma once

#include "host/evaluation/reading.h"

#include <string>

namespace NoxHost
{

/// `{"period":12,"channel":0,"processor":"qiec","Value":103.2,"Unit":"pC"}` and a line end; numbers with 17 digits, a
/// number that is not finite as null, bytes in base64. The channel is left out for a device's processor.
std::string toJsonLine(const Reading &reading);

/// A field of CSV: numbers with 17 digits, quoted where commas, quotes or line ends stand in it.
std::string csvField(const QVariant &value);
/// `period,channel,processor,property,value`, a line a property.
std::string csvHeader();
std::string toCsvLines(const Reading &reading);

/// The channel's number; "device" for a device's processor.
QString describeChannel(const Reading &reading);
/// The record in a person's words, such as `103.2 pC`.
QString describeRecord(const Reading &reading);
std::string tableHeader();
std::string toTableLine(const Reading &reading);

} // namespace NoxHost
