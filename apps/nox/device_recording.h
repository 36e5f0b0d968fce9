#pragma once

#include "apps/nox/recording_options.h"
#include "connections/devices/pd_device.h"

#include <QObject>

#include <functional>
#include <memory>

namespace CommonNOX::PD::Recording
{
class PdRecorder;
} // namespace CommonNOX::PD::Recording

namespace Nox
{

/// A recording of a device, from start to end. Main thread.
class DeviceRecording : public QObject
{
    Q_OBJECT
public:
    explicit DeviceRecording(const RecordingOptions &options) : m_options(options) {}

    bool isWanted() const { return m_options.isWanted(); }
    /// started() or failed() follows.
    void start(const std::shared_ptr<CommonNOX::Devices::PdDevice> &device);
    /// Ends it, and waits for everything to be stored.
    void stop();

    bool isActive() const { return m_isActive; }
    /// Of the file that is being written, or was written last; empty before the start.
    QString getPath() const { return m_path; }
    /// Why there is no recording, or not a whole one, in one sentence; empty while all is well.
    QString getError() const { return m_error; }
    /// Whether it has ended because it reached its limit.
    bool hasReachedLimit() const { return m_hasReachedLimit; }

signals:
    void started();
    /// It did not begin.
    void failed(const QString &sentence);
    /// It has ended before it was stopped; `sentence` says why.
    void ended(const QString &sentence);

private:
    void onEnded(const QString &reason, bool error);

    const RecordingOptions m_options;
    std::shared_ptr<CommonNOX::Devices::PdDevice> m_device;
    CommonNOX::PD::Recording::PdRecorder *m_recorder = nullptr; // the device's
    QString m_path;
    QString m_error;
    bool m_isActive = false;
    bool m_isStopping = false;
    bool m_hasReachedLimit = false;
};

} // namespace Nox
