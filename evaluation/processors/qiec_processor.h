#pragma once

#include "evaluation/processors/single_channel_processor.h"

namespace CommonNOX::Evaluation::Processors
{

namespace Calculation
{
class QiecCalculator;
}

namespace Qiec
{

/// The weighted apparent charge of a channel, one SignalValueV1 a period.
///
/// Channel properties: "qiec_tau1" and "qiec_tau2" (seconds), "init_qiec_value" (in the channel's PD unit).
class NOX_EXPORT QiecProcessor : public SingleChannelProcessor
{
public:
    QiecProcessor(const ReaderConstPtr &deviceContext, const ReaderConstPtr &channelContext,
                  const QString &processorName, const QString &deviceIdentification, const unsigned int &channelIndex);
    ~QiecProcessor() override;

    bool evaluate(const quint64 &periodIndex, const std::shared_ptr<const Data::Period> &period) override;

private:
    std::shared_ptr<Calculation::QiecCalculator> m_calculator;
    double m_elapsed = 0.0; // seconds since the last successful evaluation
};

} // namespace Qiec

} // namespace CommonNOX::Evaluation::Processors
