#pragma once

#include "entries/measurement/peak.h"

#include <memory>
#include <vector>

namespace CommonNOX::Entries::Results::Space2D
{
class PeriodV2;
}

namespace Bench
{

using CommonNOX::Entries::Results::Space2D::PeakData;
using CommonNOX::Entries::Results::Space2D::PeakVector;
using CommonNOX::Entries::Results::Space2D::PeriodV2;

constexpr qint64 PeriodTicks = 2'000'000;
constexpr quint32 SampleRate = 100'000'000;

/// Peaks of a period from tick 0 on: signs and times by chance, every tenth gated. The same at every call. A branch
/// predictor learns thousands of signs by heart, so that fewer than 10^4 would flatter a loop with branches.
PeakVector MakePeaks(int count);

/// A period of the peaks, calibrated.
std::shared_ptr<PeriodV2> MakePeriodEntry(const PeakVector &peaks);

/// `total` peaks in periods of `count`.
std::vector<std::shared_ptr<const PeriodV2>> MakePeriodEntries(int total, int count);

} // namespace Bench
