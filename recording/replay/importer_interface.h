#pragma once

#include "nox_export.h"
#include "platform/interval.h"

#include <QString>

#include <memory>

namespace CommonNOX::Entries::Results::Space2D
{
class PeriodV2;
class VoltageScopeV1;
} // namespace CommonNOX::Entries::Results::Space2D

namespace CommonNOX::Importer
{

/// A source of recorded measurements. Operations return whether they succeeded, results come through the reference.
class NOX_EXPORT ImporterInterface
{
public:
    using PeriodPtr = std::shared_ptr<Entries::Results::Space2D::PeriodV2>;
    using VoltageScopePtr = std::shared_ptr<Entries::Results::Space2D::VoltageScopeV1>;

    virtual ~ImporterInterface();

    virtual bool parseReplayFile() = 0;
    virtual bool hasValidHandle() const = 0;
    /// The channel's next period. Null, and true, when it is not due yet. False at the end of the span.
    virtual bool extractNextPeriod(const int &channel, PeriodPtr &period) = 0;
    /// The voltage scope in force at the channel's position, and then one after the other those that follow. Null, and
    /// true, while the next one's periods have not been reached.
    virtual bool extractNextVoltageScope(const int &channel, VoltageScopePtr &scope) = 0;
    /// The number of the element that is handed out next.
    virtual bool getCurrentPosition(const int &channel, unsigned int &position) const = 0;
    /// Both ends belong to the span.
    virtual bool getReplaySpan(const int &channel, Shared::Interval<unsigned int> &span) const = 0;
    /// Goes to the beginning of the span. False for one that has nothing in common with the recording.
    virtual bool setReplaySpan(const int &channel, const Shared::Interval<unsigned int> &span) = 0;
    virtual bool setReplaySpeedFactor(const int &channel, const double &factor) = 0;
};

} // namespace CommonNOX::Importer
