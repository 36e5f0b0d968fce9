#include "host/session/parameter_requests.h"

#include "host/log.h"
#include "host/protocol/message_names.h"

#include <QJsonObject>
#include <QJsonValue>

#include <chrono>
#include <vector>

namespace NoxHost
{

using CommonNOX::Devices::DeviceRequestResponseProvider;

namespace
{

qint64 nowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace

ParameterRequests::ParameterRequests(const std::shared_ptr<DeviceRequestResponseProvider> &provider, int timeoutMs)
    : m_provider(provider), m_timeoutMs(timeoutMs)
{
    connect(&m_timer, &QTimer::timeout, this, &ParameterRequests::checkTimeouts);
    provider->setRequestHook({[this](const QString &parameter) { return m_underWay.count(parameter) != 0; },
                              [this](const QString &parameter, const QVariant &value) {
                                  if (!m_underWay.emplace(parameter, UnderWay{++m_lastId, value}).second)
                                      return false;
                                  // Not from within the write that asked for it.
                                  QMetaObject::invokeMethod(this, &ParameterRequests::sendWaiting,
                                                            Qt::QueuedConnection);
                                  return true;
                              }});
}

ParameterRequests::~ParameterRequests()
{
    m_provider->setRequestHook({});
}

void ParameterRequests::resume()
{
    m_isSuspended = false;
    sendWaiting();
}

void ParameterRequests::suspend()
{
    m_isSuspended = true;
    m_timer.stop();
    for (auto &request : m_underWay)
        request.second.sentAtMs = -1;
}

void ParameterRequests::sendWaiting()
{
    if (m_isSuspended)
        return;
    std::vector<std::pair<QString, UnderWay>> waiting;
    for (auto &[parameter, request] : m_underWay) {
        if (request.sentAtMs >= 0)
            continue;
        request.sentAtMs = nowMs();
        waiting.emplace_back(parameter, request);
    }
    for (const auto &[parameter, request] : waiting) {
        const QJsonObject message{{Wire::Id, request.id},
                                  {Wire::Parameter, parameter},
                                  {Wire::Value, QJsonValue::fromVariant(request.value)}};
        if (!m_provider->setAppConfig(m_provider->getProtocolMethodPath(parameter), message))
            finish(parameter, {}, QStringLiteral("the request could not be sent"));
    }
    if (!waiting.empty() && !m_timer.isActive())
        m_timer.start(qBound(1, m_timeoutMs / 10, 100));
}

bool ParameterRequests::takeResponse(const QJsonObject &response)
{
    const QString parameter = response.value(Wire::Parameter).toString();
    const auto request = m_underWay.find(parameter);
    if (request == m_underWay.end() || response.value(Wire::Id).toDouble(-1.0) != double(request->second.id))
        return false;
    const QVariant asked = request->second.value;
    if (response.value(Wire::Status).toString() == Wire::StatusOk) {
        const QJsonValue value = response.value(Wire::Value);
        finish(parameter, value.isUndefined() ? asked : value.toVariant(), {});
        return true;
    }
    const QString reason = response.value(Wire::Reason).toString();
    finish(parameter, {}, reason.isEmpty() ? QStringLiteral("the instrument refused it") : reason);
    return true;
}

void ParameterRequests::checkTimeouts()
{
    std::vector<QString> late;
    if (m_underWay.empty())
        m_timer.stop();
    for (const auto &[parameter, request] : m_underWay) {
        if (request.sentAtMs >= 0 && nowMs() - request.sentAtMs >= m_timeoutMs)
            late.push_back(parameter);
    }
    for (const QString &parameter : late) {
        qCWarning(hostLog()).noquote() << "the request for" << parameter << "was not answered within"
                                       << m_timeoutMs / 1000.0 << "s";
        finish(parameter, {}, QStringLiteral("no answer within %1 s").arg(m_timeoutMs / 1000.0));
    }
}

void ParameterRequests::finish(const QString &parameter, const QVariant &value, const QString &reason)
{
    m_underWay.erase(parameter);
    // A newer value that was stored meanwhile goes out from within these.
    if (reason.isEmpty())
        m_provider->finishRequestForParameter(parameter, value);
    else
        m_provider->failRequestForParameter(parameter);
    emit requestFinished(parameter, value, reason);
}

} // namespace NoxHost
