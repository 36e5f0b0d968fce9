#pragma once

#include "host/protocol/messages.h"
#include "host/session/device_link.h"
#include "platform/call_back_list.h"

#include <QJsonObject>
#include <QObject>
#include <QTimer>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace CommonNOX::Devices
{
class DeviceRequestDecoder;
class DeviceRequestResponseProvider;
class PdDevice;
} // namespace CommonNOX::Devices

namespace NoxHost
{

class InstrumentProtocol;
class ParameterRequests;

/// What became of a measurement besides its periods.
struct SessionCounts
{
    quint64 interruptions = 0;  ///< losses of the connection
    quint64 lostPeriods = 0;    ///< that the instrument reported as dropped, all channels together
    quint64 missingPeriods = 0; ///< that are missing in the indices without a report
};

/// A measurement on one instrument: from the URL to a PD device that receives periods, over losses of the connection.
///
/// The announcement goes through the configuration tree, where it becomes a device with its channels and its
/// parameters; the parameters lie below the device's path, to be requested by writing. What the instrument sends goes
/// to the device. Indices never repeat: where an instrument counts from 0 again after a loss, an offset is added. It
/// lives on the main thread.
class DeviceSession : public QObject
{
    Q_OBJECT
public:
    static constexpr int MaximumChannels = 256;

    /// Sessions of one tree share its connection manager.
    explicit DeviceSession(const LinkSettings &settings, const std::shared_ptr<Utilities::ConfigurationTree> &tree);
    ~DeviceSession() override;

    /// While this says so nothing more is read from the instrument.
    void setFlowControl(std::function<bool()> isFull) { m_isFull = std::move(isFull); }
    /// Periods a channel that reach the device; a block is cut.
    void setPeriodLimit(quint64 periods) { m_periodLimit = periods; }
    /// Measuring time in seconds; periods that begin later do not reach the device.
    void setTimeLimit(double seconds) { m_timeLimit = seconds; }

    /// Once. What becomes of it is told by the signals, also while this runs.
    void open(const QUrl &url);
    /// Asks the instrument to measure, now and after each loss.
    void start();
    /// Asks the instrument to stop, and closes the connection.
    void close();

    /// Empty before ready().
    std::shared_ptr<CommonNOX::Devices::PdDevice> getDevice() const { return m_device; }
    /// Empty before ready().
    ParameterRequests *getParameterRequests() const { return m_requests.get(); }
    /// Writes a parameter's wish into the tree.
    void request(const QString &parameter, const QVariant &value);

    /// Measuring time in seconds by the clock of the instrument, gaps left out.
    double getSeconds() const { return m_seconds; }
    /// The r.m.s. test voltage of the latest scope in kV; nothing without a calibrated scope.
    std::optional<double> getKilovolts() const { return m_kilovolts; }
    /// Whether the time is over, or every channel that delivers has its periods.
    bool isLimitReached() const;
    const SessionCounts &getCounts() const { return m_counts; }
    bool isConnected() const;

signals:
    /// The device is there; who wants its periods follows it now.
    void ready();
    void lost(const QString &reason);
    void back();
    /// The connection failed or is lost for good; the last signal.
    void ended(const QString &sentence);

private:
    struct Channel
    {
        std::optional<quint64> next; ///< index as the instrument counts, on this connection
        quint64 delivered = 0;
    };

    void onAnnounced(const QString &version, const QJsonObject &announcement,
                     const std::shared_ptr<MessageStream> &stream);
    void onDeviceRequested(const QString &identification, const QString &serial, unsigned int channels);
    QString makeDevice(const QString &identification, const QString &serial, unsigned int channels);
    void onPeriodBlock(const PeriodBlock &block);
    void onVoltageScope(const WireVoltageScope &scope);
    void onOverrun(const OverrunReport &overrun);
    /// The index that the host counts for one of this connection.
    quint64 hostIndex(quint64 index);
    bool hasAllPeriods() const;
    /// Notes the measuring time; false for a period that begins when it is over.
    bool noteTime(const RawPeriod &period);
    void controlFlow();

    const std::shared_ptr<Utilities::ConfigurationTree> m_tree;
    const std::shared_ptr<CommonNOX::Connections::ConnectionManager> m_manager;
    const std::shared_ptr<CommonNOX::Devices::DeviceRequestDecoder> m_decoder;
    std::unique_ptr<DeviceLink> m_link;
    std::unique_ptr<InstrumentProtocol> m_protocol;
    std::shared_ptr<CommonNOX::Devices::DeviceRequestResponseProvider> m_provider;
    std::unique_ptr<ParameterRequests> m_requests;
    std::shared_ptr<CommonNOX::Devices::PdDevice> m_device;
    QString m_serial;
    QJsonObject m_announcement;
    std::function<bool()> m_isFull;
    QTimer m_resume;
    std::map<int, Channel> m_channels;
    std::optional<quint64> m_periodLimit;
    std::optional<double> m_timeLimit;
    bool m_isTimeOver = false;
    std::optional<double> m_kilovolts;
    std::optional<quint64> m_offset; // of this connection; none before its first index
    quint64 m_nextIndex = 0;         // that has not been used yet
    std::optional<qint64> m_firstTicks;
    double m_secondsBefore = 0.0;
    double m_seconds = 0.0;
    SessionCounts m_counts;
    bool m_isRunning = false;
    std::vector<Shared::Subscription> m_subscriptions;
};

} // namespace NoxHost
