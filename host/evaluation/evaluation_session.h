#pragma once

#include "host/evaluation/evaluation_settings.h"
#include "host/evaluation/reading.h"
#include "host/pulses/raw_period.h"

#include <QStringList>

#include <memory>
#include <optional>
#include <vector>

namespace Utilities
{
class ConfigurationTree;
}

namespace NoxHost
{

/// Evaluates periods of any number of channels by the library's own road: entries, blocks, an evaluator a channel, a
/// thread a processor, results in the data store.
///
/// One thread feeds it and takes the readings; the evaluation runs on threads of its own.
class EvaluationSession
{
public:
    /// What may be on its way at a time; feeding waits beyond it.
    static constexpr std::size_t MaximumPeriods = 4096;
    static constexpr qint64 MaximumBytes = 32 * 1024 * 1024;

    explicit EvaluationSession(const EvaluationSettings &settings);
    EvaluationSession(const EvaluationSession &) = delete;
    EvaluationSession &operator=(const EvaluationSession &) = delete;
    ~EvaluationSession();

    /// Names of `settings.evaluators` that no single-channel processor has.
    static QStringList findUnknownEvaluators(const EvaluationSettings &settings);

    /// Queues a period. Periods of a channel come in ascending order, and none comes after one of a later index of
    /// another channel. Waits while too much is on its way, as long as `isInterrupted` does not say otherwise.
    /// False when it was interrupted, or when the channel's evaluator refused the period.
    bool addPeriod(const RawPeriod &period, const std::function<bool()> &isInterrupted = {});

    /// Readings of all periods that are complete: those before the latest one fed, once every processor is done with
    /// them. In order of period, then channel, then processor; none twice.
    std::vector<Reading> takeReadings();
    /// From now on readings of periods from this index on are not given out any more.
    void withdrawFrom(quint64 index);

    /// Waits until every queued period has been evaluated. False when it was interrupted.
    bool finish(const std::function<bool()> &isInterrupted = {});

    quint64 getPeriodCount() const;  ///< fed so far
    quint64 getPulseCount() const;   ///< fed so far
    quint64 getDroppedCount() const; ///< periods that could not be built
    std::size_t getPeriodsOnTheirWay() const;
    /// The latest reading of each channel and processor that has been taken, in order.
    std::vector<Reading> getLastReadings() const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace NoxHost
