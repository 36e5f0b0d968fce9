#pragma once

#include "evaluation/processors/single_channel_processor.h"

namespace CommonNOX::Evaluation::Processors::Frequency
{

/// The power frequency from the length of each period: its sample rate over its ticks, a FrequencyV1 a period.
class NOX_EXPORT FrequencyProcessor : public SingleChannelProcessor
{
public:
    FrequencyProcessor(const ReaderConstPtr &deviceContext, const ReaderConstPtr &channelContext,
                       const QString &processorName, const QString &deviceIdentification,
                       const unsigned int &channelIndex);
    ~FrequencyProcessor() override;

    bool evaluate(const quint64 &periodIndex, const std::shared_ptr<const Data::Period> &period) override;
};

} // namespace CommonNOX::Evaluation::Processors::Frequency
