#pragma once

#include "entries/measurement/synchronized_pattern.h"
#include "evaluation/processors/single_channel_processor.h"

#include <atomic>
#include <optional>

namespace CommonNOX::Evaluation::Processors::Pattern
{

/// Accumulates the phase-resolved pattern of a channel, and writes it as a PatternV1 with pictures in PNG each time
/// an interval of measuring time has passed. The store keeps the latest.
///
/// Channel properties: those that Data::SynchronizedPattern follows, and "pattern_interval" (seconds, read at every
/// period; 0 for one entry a period).
class NOX_EXPORT PatternProcessor : public SingleChannelProcessor
{
public:
    static constexpr double DefaultInterval = 1.0; ///< seconds

    PatternProcessor(const ReaderConstPtr &deviceContext, const ReaderConstPtr &channelContext,
                     const QString &processorName, const QString &deviceIdentification,
                     const unsigned int &channelIndex);
    ~PatternProcessor() override;

    bool evaluate(const quint64 &periodIndex, const std::shared_ptr<const Data::Period> &period) override;
    /// Lets the next evaluation start from an empty pattern. False when nothing has been added since the last one.
    bool resetProcessorState(const quint64 &periodIndex) override;

private:
    bool storePattern(quint64 periodIndex);

    Data::SynchronizedPattern m_pattern;
    double m_sinceEntry = 0.0; // seconds
    // Of any thread.
    std::atomic<bool> m_hasPeriods = false;
    std::atomic<bool> m_resetPending = false;
};

} // namespace CommonNOX::Evaluation::Processors::Pattern
