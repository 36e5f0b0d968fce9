#pragma once

#include "evaluation/processors/single_channel_processor.h"
#include "platform/pending_value.h"

#include <atomic>

namespace CommonNOX::Evaluation::Processors::Qmax
{

/// The largest positive and negative magnitudes of a channel since the last reset: a QmaxInformationV1 for each
/// period in which one of them grows.
class NOX_EXPORT QmaxProcessor : public SingleChannelProcessor
{
public:
    QmaxProcessor(const ReaderConstPtr &deviceContext, const ReaderConstPtr &channelContext,
                  const QString &processorName, const QString &deviceIdentification, const unsigned int &channelIndex);
    ~QmaxProcessor() override;

    bool evaluate(const quint64 &periodIndex, const std::shared_ptr<const Data::Period> &period) override;
    /// Lets the next evaluation start from 0. False when both maxima are 0 already.
    bool resetProcessorState(const quint64 &periodIndex) override;

private:
    // Atomic, as a reset asks for them from another thread; only the evaluating one changes them.
    std::atomic<double> m_maxPositive = 0.0;
    std::atomic<double> m_maxNegative = 0.0;
    Shared::PendingValue<double> m_positiveReset;
    Shared::PendingValue<double> m_negativeReset;
};

} // namespace CommonNOX::Evaluation::Processors::Qmax
