#pragma once

#include "evaluation/processors/single_channel_processor.h"

namespace CommonNOX::Evaluation::Processors::DisplayedPeriod
{

/// The columns from which diagrams draw the latest period, a DisplayedPeriodV1. Pulses that gating kept out of the
/// statistics stand in the gated columns.
class NOX_EXPORT DisplayedPeriodProcessor : public SingleChannelProcessor
{
public:
    DisplayedPeriodProcessor(const ReaderConstPtr &deviceContext, const ReaderConstPtr &channelContext,
                             const QString &processorName, const QString &deviceIdentification,
                             const unsigned int &channelIndex);
    ~DisplayedPeriodProcessor() override;

    bool evaluate(const quint64 &periodIndex, const std::shared_ptr<const Data::Period> &period) override;
};

} // namespace CommonNOX::Evaluation::Processors::DisplayedPeriod
