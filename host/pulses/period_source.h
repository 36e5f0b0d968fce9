#pragma once

#include "host/pulses/raw_period.h"

#include <QString>

#include <optional>

namespace NoxHost
{

/// What a reader of periods yields: a period, the end, or one sentence about what is wrong.
struct PeriodResult
{
    enum class Kind { Period, End, Error };

    Kind kind = Kind::End;
    RawPeriod period; ///< valid for Kind::Period
    QString error;    ///< for Kind::Error, such as `FILE:LINE: column COLUMN: ... .`, lines and characters from 1
    /// For Kind::Error when what is wrong belongs among earlier periods: from this index on, those that came out are
    /// in doubt.
    std::optional<quint64> doubtedFrom;
};

/// Periods of any number of channels, one after the other, from wherever they are kept. Those of a channel come in
/// ascending order, and none comes after one of a later index of another channel. One thread.
class PeriodSource
{
public:
    PeriodSource() = default;
    PeriodSource(const PeriodSource &) = delete;
    PeriodSource &operator=(const PeriodSource &) = delete;
    virtual ~PeriodSource() = default;

    /// Begins with the first period; again, when it was begun before and canRestart(). False with getError() set.
    virtual bool start() = 0;
    /// After a successful start(). An error comes again and again.
    virtual PeriodResult next() = 0;
    /// Whether the periods can be read more than once.
    virtual bool canRestart() const = 0;
    /// One sentence; empty while there is none.
    virtual QString getError() const = 0;
    /// How much of the source has been read, from 0 to 1; negative when nobody knows.
    virtual double getProgress() const = 0;
    /// What a person calls the measurement.
    virtual QString getTitle() const = 0;
    /// One sentence about what was left out, at the end; empty when nothing was.
    virtual QString getRemark() const { return {}; }
};

} // namespace NoxHost
