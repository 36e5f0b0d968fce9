#pragma once

#include "connections/connection_manager.h"
#include "connections/devices/pd_device.h"
#include "host/session/measuring_limits.h"

#include <QJsonObject>
#include <QObject>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

namespace CommonNOX::Devices
{
class DeviceRequestDecoder;
class DeviceRequestResponseProvider;
} // namespace CommonNOX::Devices

namespace NoxHost
{

class ParameterRequests;

/// What became of a measurement besides its periods.
struct SessionCounts
{
    quint64 interruptions = 0;  ///< losses of the connection
    quint64 lostPeriods = 0;    ///< that the instrument reported as dropped, all channels together
    quint64 missingPeriods = 0; ///< that are missing in the indices without a report
};

/// A measurement from the URL to a PD device that receives periods, whether an instrument measures or a recording is
/// played back.
///
/// The announcement goes through the configuration tree, where it becomes a device with its channels and its
/// parameters. It lives on the main thread.
class MeasuringSession : public QObject
{
    Q_OBJECT
public:
    static constexpr int MaximumChannels = 256;

    ~MeasuringSession() override;

    /// While this says so nothing more is handed to the device.
    void setFlowControl(std::function<bool()> isFull) { m_isFull = std::move(isFull); }
    /// Periods a channel that reach the device; a block is cut.
    void setPeriodLimit(quint64 periods) { m_limits.setPeriodLimit(periods); }
    /// Measuring time in seconds; periods that begin later do not reach the device.
    void setTimeLimit(double seconds) { m_limits.setTimeLimit(seconds); }

    /// Once. What becomes of it is told by the signals, also while this runs.
    virtual void open(const QUrl &url) = 0;
    /// Begins, or has the instrument begin, to measure.
    virtual void start() = 0;
    virtual void close() = 0;

    /// Empty before ready().
    std::shared_ptr<CommonNOX::Devices::PdDevice> getDevice() const { return m_device; }
    /// Empty before ready(), and for a source that takes no requests.
    virtual ParameterRequests *getParameterRequests() const { return nullptr; }
    /// Writes a parameter's wish into the tree.
    void request(const QString &parameter, const QVariant &value);

    /// Measuring time in seconds by the clock of the instrument, gaps left out.
    double getSeconds() const { return m_limits.getSeconds(); }
    /// The r.m.s. test voltage of the latest scope in kV; nothing without a calibrated scope.
    std::optional<double> getKilovolts() const { return m_kilovolts; }
    /// Whether the time is over, or every channel that delivers has its periods, or there is nothing more.
    virtual bool isLimitReached() const = 0;
    const SessionCounts &getCounts() const { return m_counts; }
    virtual bool isConnected() const = 0;
    /// The part from 0 to 1 that is done of what has an end of its own.
    virtual std::optional<double> getDone() const { return std::nullopt; }

signals:
    /// The device is there; who wants its periods follows it now.
    void ready();
    void lost(const QString &reason);
    void back();
    /// Something that a person should know, in one sentence.
    void told(const QString &sentence);
    /// It failed, or the connection is lost for good; the last signal.
    void ended(const QString &sentence);

protected:
    explicit MeasuringSession(const std::shared_ptr<Utilities::ConfigurationTree> &tree);

    /// Writes the announcement into the tree, under the id of its connection; makeDevice() or whatever
    /// onDeviceRequested() does follows while this runs. False when it is not complete.
    bool announce(const QString &connectionId, const QJsonObject &announcement);
    virtual void onDeviceRequested(const QString &identification, const QString &serial, unsigned int channels) = 0;
    /// Makes the device that was announced. The sentence about what is wrong; empty when the device is there.
    QString makeDevice(const QString &identification, const QString &serial, unsigned int channels);
    /// Notes the voltage of a scope, and hands it to the device.
    void deliverScope(const CommonNOX::Devices::PdDevice::VoltageScopePtr &scope, quint64 firstPeriod);
    /// Whether the evaluation asks to wait.
    bool isEvaluationFull() const { return m_isFull && m_isFull(); }

    const std::shared_ptr<Utilities::ConfigurationTree> m_tree;
    const std::shared_ptr<CommonNOX::Connections::ConnectionManager> m_manager;
    QString m_connectionId;
    QJsonObject m_announcement;
    std::shared_ptr<CommonNOX::Devices::DeviceRequestResponseProvider> m_provider;
    std::shared_ptr<CommonNOX::Devices::PdDevice> m_device;
    QString m_serial;
    MeasuringLimits m_limits;
    SessionCounts m_counts;

private:
    const std::shared_ptr<CommonNOX::Devices::DeviceRequestDecoder> m_decoder;
    std::function<bool()> m_isFull;
    std::optional<double> m_kilovolts;
};

} // namespace NoxHost
