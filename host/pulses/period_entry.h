#pragma once

#include "entries/data_entry.h"
#include "host/pulses/raw_period.h"

#include <memory>
#include <vector>

namespace CommonNOX::Entries::Results::Space2D
{
class PeriodBlockV1;
class PeriodV2;
} // namespace CommonNOX::Entries::Results::Space2D

namespace NoxHost
{

/// The entry of a period as a device hands it to the library, with the extremes of its raw amplitudes.
std::shared_ptr<CommonNOX::Entries::Results::Space2D::PeriodV2> makePeriodEntry(const RawPeriod &period);

/// The period of an entry, the extremes apart; false for what is none.
bool readPeriodEntry(const CommonNOX::DataEntryConstPtr &entry, RawPeriod &period);

/// A block of successive periods.
std::shared_ptr<const CommonNOX::Entries::Results::Space2D::PeriodBlockV1>
makePeriodBlock(const std::vector<RawPeriod> &periods);
/// A block of the one period.
std::shared_ptr<const CommonNOX::Entries::Results::Space2D::PeriodBlockV1> makePeriodBlock(const RawPeriod &period);

} // namespace NoxHost
