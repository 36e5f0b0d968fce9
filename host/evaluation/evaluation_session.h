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

namespace CommonNOX::Devices
{
class PdDevice;
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

    /// What the evaluators are fed from: periods alone, or a device, whose voltage scopes have processors of their own.
    enum class Source { Periods, Device };
    /// Names of `settings.evaluators` that no processor has which the source can feed.
    static QStringList findUnknownEvaluators(const EvaluationSettings &settings, Source source);

    /// Queues a period. Periods of a channel come in ascending order, and none comes after one of a later index of
    /// another channel. Waits while too much is on its way, as long as `isInterrupted` does not say otherwise.
    /// False when it was interrupted, or when the channel's evaluator refused the period.
    bool addPeriod(const RawPeriod &period, const std::function<bool()> &isInterrupted = {});

    /// Takes what the device receives from now on, in the thread that delivers it, without waiting: who drives the
    /// device looks at isFull() and stops reading. Its channels may run apart; one that lags more than MaximumLag
    /// periods behind is not waited for, and its readings come late. Scopes go to the device's processors.
    ///
    /// The settings are written into the contexts of the device's channels, those that are there already and were not
    /// asked for apart; from then on the contexts say how the channels are evaluated.
    void follow(const std::shared_ptr<CommonNOX::Devices::PdDevice> &device);
    static constexpr quint64 MaximumLag = 16;
    /// Whether too much is on its way.
    bool isFull();
    /// Waits until everything fed so far has been evaluated.
    void settle();
    /// Those that evaluate a followed device, of all its channels; else those of the settings.
    QStringList getEvaluators() const;

    /// Readings of all periods that are complete: those before the latest one fed, once every processor is done with
    /// them; of a device those that every channel has delivered. In order of period, then channel, then processor; none
    /// twice. Readings of a device's processors come as they are, in order.
    std::vector<Reading> takeReadings();
    /// From now on readings of periods from this index on are not given out any more.
    void withdrawFrom(quint64 index);

    /// Waits until every queued period has been evaluated. False when it was interrupted.
    bool finish(const std::function<bool()> &isInterrupted = {});

    quint64 getRefusedCount() const; ///< periods of a device that its channel's evaluator did not take
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
