#pragma once

#include "host/protocol/messages.h"
#include "host/session/device_link.h"
#include "host/session/measuring_session.h"
#include "platform/call_back_list.h"

#include <QElapsedTimer>
#include <QTimer>

#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace NoxHost
{

class InstrumentProtocol;

/// A measurement on one instrument, over losses of the connection.
///
/// What the instrument sends goes to the device; its parameters lie below the device's path, to be requested by
/// writing. Indices never repeat: where an instrument counts from 0 again after a loss, an offset is added.
class DeviceSession : public MeasuringSession
{
    Q_OBJECT
public:
    /// Sessions of one tree share its connection manager.
    explicit DeviceSession(const LinkSettings &settings, const std::shared_ptr<Utilities::ConfigurationTree> &tree);
    ~DeviceSession() override;

    void open(const QUrl &url) override;
    /// Asks the instrument to measure, now and after each loss.
    void start() override;
    /// Asks the instrument to stop, and closes the connection.
    void close() override;

    ParameterRequests *getParameterRequests() const override { return m_requests.get(); }
    bool isLimitReached() const override;
    bool isConnected() const override;

protected:
    void onDeviceRequested(const QString &identification, const QString &serial, unsigned int channels) override;

private:
    void onAnnounced(const QString &version, const QJsonObject &announcement,
                     const std::shared_ptr<MessageStream> &stream);
    void onPeriodBlock(const PeriodBlock &block);
    void onVoltageScope(const WireVoltageScope &scope);
    void onOverrun(const OverrunReport &overrun);
    /// Sets a mark in the recording, if there is one.
    void annotate(int channel, const QString &name, const QString &text) const;
    /// The index that the host counts for one of this connection.
    quint64 hostIndex(quint64 index);
    bool hasAllPeriods() const;
    bool isRecorderFull();
    void controlFlow();

    std::unique_ptr<DeviceLink> m_link;
    std::unique_ptr<InstrumentProtocol> m_protocol;
    std::unique_ptr<ParameterRequests> m_requests;
    QTimer m_resume;
    QElapsedTimer m_recorderFullSince;
    std::map<int, std::optional<quint64>> m_next; // by channel, as the instrument counts on this connection
    std::optional<quint64> m_offset;              // of this connection; none before its first index
    quint64 m_nextIndex = 0;                      // that has not been used yet
    bool m_isRunning = false;
    std::vector<Shared::Subscription> m_subscriptions;
};

} // namespace NoxHost
