#pragma once

#include "connections/devices/device_request_response_provider.h"

#include <QObject>
#include <QTimer>

#include <map>
#include <memory>

namespace NoxHost
{

/// Carries the parameter requests of one device to the instrument and its answers back to the device's provider.
///
/// One request a parameter is under way. It is answered, refused, or times out with one log line; while the connection
/// is down it waits, and goes out again when the connection is back. It lives on the thread of the connection, which is
/// the provider's too.
class ParameterRequests : public QObject
{
    Q_OBJECT
public:
    static constexpr int DefaultTimeoutMs = 5000;

    /// Installs itself as the provider's hook.
    ParameterRequests(const std::shared_ptr<CommonNOX::Devices::DeviceRequestResponseProvider> &provider,
                      int timeoutMs = DefaultTimeoutMs);
    ~ParameterRequests() override;

    /// The connection is up, or up again: sends what waits.
    void resume();
    /// The connection is down: what is under way waits without a limit of time.
    void suspend();

    /// Takes a response of the instrument. False when nobody asked for it.
    bool takeResponse(const QJsonObject &response);

signals:
    /// `reason` is empty when the instrument took the value.
    void requestFinished(const QString &parameter, const QVariant &value, const QString &reason);

private:
    struct UnderWay
    {
        qint64 id = 0;
        QVariant value;
        qint64 sentAtMs = -1; ///< -1: not sent
    };
    void sendWaiting();
    void checkTimeouts();
    void finish(const QString &parameter, const QVariant &value, const QString &reason);

    const std::shared_ptr<CommonNOX::Devices::DeviceRequestResponseProvider> m_provider;
    const int m_timeoutMs;
    QTimer m_timer;
    std::map<QString, UnderWay> m_underWay;
    qint64 m_lastId = 0;
    bool m_isSuspended = true;
};

} // namespace NoxHost
