#pragma once

#include "evaluation/processors/single_channel_processor.h"
#include "evaluation/processors/test_voltage_receiver.h"
#include "platform/call_back_list.h"

#include <QObject>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace CommonNOX::Evaluation::Processors::InceptionExtinction
{

class InceptionExtinctionCriterion;

/// Watches the largest charge of each period while the test voltage is raised and lowered, and decides when discharge
/// starts and stops.
///
/// Channel properties: "inception_extinction_x", "inception_extinction_y" (X of the latest Y periods),
/// "inception_charge" and "extinction_charge" (the thresholds, in the channel's PD unit); a write starts again outside
/// inception with an empty window. Each decision writes "inception_voltage", "extinction_voltage" (0 until it is
/// found) and then "inception_extinction" (whether discharge is on), and stores a DecisionRecord as the period's
/// result where a result entry exists. A replay (the device's "is_replay_device") whose recording brings decisions of
/// its own (the channel's "inception_extinction_recorded") is not decided anew.
class NOX_EXPORT InceptionExtinctionProcessor : public QObject,
                                                public SingleChannelProcessor,
                                                public TestVoltageReceiver
{
    Q_OBJECT
public:
    InceptionExtinctionProcessor(const ReaderConstPtr &deviceContext, const ReaderConstPtr &channelContext,
                                 const QString &processorName, const QString &deviceIdentification,
                                 const unsigned int &channelIndex);
    ~InceptionExtinctionProcessor() override;

    /// Replaces the criterion, with all its state, by a new XYCriterion. Any thread.
    void configureCriterion(unsigned int x, unsigned int y, double inceptionThreshold, double extinctionThreshold);
    /// Any thread.
    void voltageUpdate(double voltage) override;

    /// True when the period was checked, or needs no check.
    bool evaluate(const quint64 &periodIndex, const std::shared_ptr<const Data::Period> &period) override;
    /// Starts again as after a change of the criterion. Always true.
    bool resetProcessorState(const quint64 &periodIndex) override;

public slots:
    /// Reads the four settings and configures the criterion with them.
    void criterionConfigurationChanged();

private:
    void follow(QLatin1String key);

    std::mutex m_settingsMutex; // held from reading the settings to their taking effect
    std::mutex m_mutex;         // guards the criterion and the voltage
    std::unique_ptr<InceptionExtinctionCriterion> m_criterion;
    double m_voltage = 0.0;
    // Both set: the recording that is played brings the decisions.
    const bool m_isReplay;
    std::atomic<bool> m_hasRecordedDecisions = false;
    // Last, so that nothing is followed any more when the rest goes.
    std::vector<Shared::Subscription> m_subscriptions;
};

} // namespace CommonNOX::Evaluation::Processors::InceptionExtinction
