#pragma once

#include "connections/devices/pd_device.h"
#include "evaluation/evaluators/device_evaluator.h"
#include "evaluation/evaluators/pd_channel_evaluator.h"
#include "nox_export.h"

#include <QString>

#include <map>
#include <memory>
#include <mutex>

namespace CommonNOX::Evaluation::Evaluators
{

/// The evaluator of a PD device: it takes the device's voltage scopes and answers the console command "evaluation".
class NOX_EXPORT PdDeviceEvaluator
{
public:
    explicit PdDeviceEvaluator(const std::shared_ptr<Devices::PdDevice> &device);
    PdDeviceEvaluator(const PdDeviceEvaluator &) = delete;
    PdDeviceEvaluator &operator=(const PdDeviceEvaluator &) = delete;
    ~PdDeviceEvaluator();

    DeviceEvaluator &getEvaluator() { return m_evaluator; }

    /// Lets the console ask for a channel; one that is gone answers as an unknown one. Any thread.
    void addChannelEvaluator(const std::shared_ptr<PdChannelEvaluator> &evaluator);

    /// Answers a line of the console: "help", "evaluation device", "evaluation channel N"; anything else gets the
    /// usage. Any thread.
    QString answerConsoleCommand(const QString &line) const;

private:
    QString describeDevice() const;
    QString describeChannel(const PdChannelEvaluator &evaluator) const;

    const std::shared_ptr<Devices::PdDevice> m_device;
    DeviceEvaluator m_evaluator;
    mutable std::mutex m_mutex;
    std::map<int, std::weak_ptr<PdChannelEvaluator>> m_channels;
    // Last, so that no scope arrives while the evaluator goes.
    Shared::Subscription m_scopes;
};

} // namespace CommonNOX::Evaluation::Evaluators
