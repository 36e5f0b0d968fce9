#include "connections/devices/device_request_response_provider.h"

#include "connections/connection_paths.h"
#include "connections/connection_status.h"
#include "entries/log.h"

#include <QThread>

#include <map>
#include <set>

namespace CommonNOX::Devices
{

using Interfaces::Request;
using Shared::Synchronization::ScopedLock;
namespace Paths = Connections::Paths;

DeviceRequestResponseInterface::~DeviceRequestResponseInterface() = default;

struct DeviceRequestResponseProvider::Private
{
    QString devicePath;
    QMap<QString, QString> methods;
    QString connectionPath;
    std::map<QString, Request> parameters;
    std::map<QString, QString> converters;
    std::map<QString, QVariant> sent;      // the value of the request under way
    std::map<QString, QVariant> confirmed; // what the device took of our requests
    std::set<QString> waiting;             // written in other threads, to be handed on
    bool isInitialized = false;
    Protocols::ProtocolMessageBuilder requestBuilder;
    Protocols::ProtocolMessageBuilder responseBuilder;
    QString identification;
    DeviceRequestHook hook;
    // Last, so that nothing is followed any more when the rest goes.
    Shared::Subscription requests;
    Shared::Subscription status;
};

DeviceRequestResponseProvider::DeviceRequestResponseProvider(const ReaderConstPtr &reader, const QString &devicePath,
                                                             const QMap<QString, QString> &methods)
    : GuiContextVisitor(reader), d(std::make_unique<Private>())
{
    d->devicePath = devicePath;
    d->methods = methods;
    const auto tree = getConfigurationTree();
    const QString group = tree->joinPath({devicePath, Paths::Request});
    const int nameBegin = group.size() + tree->getListSeparator().size();
    d->requests = tree->subscribeGroup(group, [this, nameBegin](const QString &path, const QVariant &value) {
        const QString parameter = path.mid(nameBegin);
        // A group that is dropped is no request.
        if (!parameter.isEmpty() && value.isValid())
            onNewParameterRequestReceived(parameter, value);
    });
    moveToApplicationMainThread(this);
}

DeviceRequestResponseProvider::~DeviceRequestResponseProvider() = default;

std::shared_ptr<DeviceRequestResponseProvider>
DeviceRequestResponseProvider::Install(const ReaderConstPtr &reader, const QString &devicePath,
                                       const QMap<QString, QString> &methods)
{
    const auto provider = makeShared(reader, devicePath, methods);
    const auto tree = provider->getConfigurationTree();
    tree->write(tree->joinPath({devicePath, Paths::RequestResponseProvider}), QVariant::fromValue(provider));
    return provider;
}

QString DeviceRequestResponseProvider::getConnectionPath() const
{
    const ScopedLock lock(*this);
    return d->connectionPath;
}

bool DeviceRequestResponseProvider::setConnectionPath(const QString &path)
{
    if (path.isEmpty())
        return false;
    const auto tree = getConfigurationTree();
    // Outside the lock, which the call-back takes.
    d->status = tree->subscribe(tree->joinPath({path, Paths::Status}), [this](const QString &, const QVariant &value) {
        onConnectionStatusChanged(value.toString());
    });
    const ScopedLock lock(*this);
    d->connectionPath = path;
    return true;
}

QString DeviceRequestResponseProvider::getProtocolPath() const
{
    const ScopedLock lock(*this);
    return d->connectionPath.isEmpty() ? QString()
                                       : getConfigurationTree()->joinPath({d->connectionPath, Paths::Protocol});
}

QString DeviceRequestResponseProvider::methodOf(const QString &parameter) const
{
    return d->methods.value(parameter, d->methods.value(QString()));
}

QString DeviceRequestResponseProvider::getProtocolMethodPath(const QString &parameter) const
{
    const QString method = methodOf(parameter);
    const QString protocol = getProtocolPath();
    if (!method.isEmpty() && !protocol.isEmpty())
        return getConfigurationTree()->joinPath({protocol, method});
    qCWarning(libraryLog()).noquote().nospace()
        << "DeviceRequestResponseProvider::getProtocolMethodPath() path could not retrieved.";
    return {};
}

bool DeviceRequestResponseProvider::hasProtocolMethodPath(const QString &parameter) const
{
    const QString method = methodOf(parameter);
    const auto tree = getConfigurationTree();
    if (!method.isEmpty() && tree->contains(tree->joinPath({getProtocolPath(), method})))
        return true;
    qCWarning(libraryLog()).noquote().nospace()
        << "DeviceRequestResponseProvider::hasProtocolMethodPath() protocol message=" << method
        << " is not available within the connection path=" << getConnectionPath();
    return false;
}

Request DeviceRequestResponseProvider::getRequestForParameter(const QString &parameter) const
{
    const ScopedLock lock(*this);
    const auto known = d->parameters.find(parameter);
    return known == d->parameters.end() ? Request() : known->second;
}

bool DeviceRequestResponseProvider::isParameterKnown(const QString &parameter) const
{
    return d->parameters.count(parameter) != 0;
}

void DeviceRequestResponseProvider::initializeSingleDeviceParameter(const QString &parameter, const QVariant &value)
{
    d->parameters.emplace(parameter, Request(parameter, getRequestPathForParameter(parameter),
                                             getResponsePathForParameter(parameter), value, getConfigurationTree()));
}

void DeviceRequestResponseProvider::setRequestForParameter(const QString &parameter, const QVariant &value)
{
    if (parameter.isEmpty())
        return;
    const ScopedLock lock(*this);
    if (isParameterKnown(parameter))
        d->parameters[parameter].setRequestValue(value);
    else
        initializeSingleDeviceParameter(parameter, value);
}

void DeviceRequestResponseProvider::onNewParameterRequestReceived(const QString &parameter, const QVariant &value)
{
    setRequestForParameter(parameter, value);
    // All is handed on in one thread, so that an answer and a newer value cannot miss each other.
    if (QThread::currentThread() == thread()) {
        forward(parameter);
        return;
    }
    {
        const ScopedLock lock(*this);
        d->waiting.insert(parameter);
    }
    QMetaObject::invokeMethod(this, "forwardWaiting", Qt::QueuedConnection);
}

void DeviceRequestResponseProvider::forwardWaiting()
{
    std::set<QString> waiting;
    {
        const ScopedLock lock(*this);
        waiting.swap(d->waiting);
    }
    for (const QString &parameter : waiting)
        forward(parameter);
}

void DeviceRequestResponseProvider::forward(const QString &parameter)
{
    DeviceRequestHook hook;
    {
        const ScopedLock lock(*this);
        hook = d->hook;
    }
    if (!hook.sendRequest || (hook.isRequestPending && hook.isRequestPending(parameter)))
        return;
    QVariant value;
    {
        const ScopedLock lock(*this);
        const Request &request = d->parameters[parameter];
        // One at a time, whatever the hook says.
        if (!request.checkFinishedState() || d->sent.count(parameter) != 0)
            return;
        value = request.getRequestValue();
        d->sent[parameter] = value;
    }
    if (hook.sendRequest(parameter, value))
        return;
    const ScopedLock lock(*this);
    d->sent.erase(parameter);
}

bool DeviceRequestResponseProvider::finishRequestForParameter(const QString &parameter, const QVariant &value)
{
    return endRequest(parameter, &value);
}

bool DeviceRequestResponseProvider::failRequestForParameter(const QString &parameter)
{
    return endRequest(parameter, nullptr);
}

bool DeviceRequestResponseProvider::endRequest(const QString &parameter, const QVariant *value)
{
    Request ended;
    {
        const ScopedLock lock(*this);
        const auto known = d->parameters.find(parameter);
        if (known == d->parameters.end() || !known->second.checkFinishedState())
            return false;
        ended = known->second;
        const auto sent = d->sent.find(parameter);
        const bool isNewer = sent != d->sent.end() && sent->second != ended.getRequestValue();
        known->second.m_isFinished = !isNewer;
        if (value && sent != d->sent.end())
            d->confirmed[parameter] = sent->second;
        if (sent != d->sent.end())
            d->sent.erase(sent);
    }
    // Outside the lock: subscribers of the response may ask for more.
    if (value)
        ended.finish(*value);
    forward(parameter);
    return true;
}

void DeviceRequestResponseProvider::noteParameterChange(const QString &parameter, const QVariant &value)
{
    if (parameter.isEmpty())
        return;
    {
        const ScopedLock lock(*this);
        d->confirmed.erase(parameter);
    }
    getConfigurationTree()->write(getResponsePathForParameter(parameter), value);
}

bool DeviceRequestResponseProvider::hasRequestPendingForParameter(const QString &parameter) const
{
    const ScopedLock lock(*this);
    const auto known = d->parameters.find(parameter);
    return known != d->parameters.end() && known->second.checkFinishedState();
}

QString DeviceRequestResponseProvider::leafPath(const QString &group, const QString &parameter) const
{
    return getConfigurationTree()->joinPath({d->devicePath, group, parameter});
}

QString DeviceRequestResponseProvider::getRequestPathForParameter(const QString &parameter) const
{
    if (!parameter.isEmpty())
        return leafPath(Paths::Request, parameter);
    qCWarning(libraryLog()).noquote().nospace()
        << "DeviceRequestResponseProvider::getRequestPathForParameter() given parameter is empty";
    return {};
}

QString DeviceRequestResponseProvider::getResponsePathForParameter(const QString &parameter) const
{
    if (!parameter.isEmpty())
        return leafPath(Paths::Response, parameter);
    qCWarning(libraryLog()).noquote().nospace()
        << "DeviceRequestResponseProvider::getResponsePathForParameter() given parameter is empty";
    return {};
}

QVariant DeviceRequestResponseProvider::getResponseForParameter(const QString &parameter) const
{
    return getConfigurationTree()->read(getResponsePathForParameter(parameter));
}

QString DeviceRequestResponseProvider::getConverterIdForParameter(const QString &parameter) const
{
    const ScopedLock lock(*this);
    const auto converter = d->converters.find(parameter);
    return converter == d->converters.end() ? QString() : converter->second;
}

bool DeviceRequestResponseProvider::hasConverterIdForParameter(const QString &parameter) const
{
    const ScopedLock lock(*this);
    return d->converters.count(parameter) != 0;
}

bool DeviceRequestResponseProvider::setConverterIdForParameter(const QString &parameter, const QString &converterId)
{
    const ScopedLock lock(*this);
    if (isParameterKnown(parameter)) {
        d->converters[parameter] = converterId;
        return true;
    }
    qCWarning(libraryLog()).noquote().nospace()
        << "DeviceRequestResponseProvider::setConverterIdForParameter() could not set parameter=" << parameter
        << " and converter identification=" << converterId;
    return false;
}

QString DeviceRequestResponseProvider::getDeviceIdentification() const
{
    const ScopedLock lock(*this);
    return d->identification;
}

void DeviceRequestResponseProvider::initializeDeviceParameter(const QMap<QString, QVariant> &parameters,
                                                              const QString &deviceIdentification)
{
    for (auto parameter = parameters.begin(); parameter != parameters.end(); ++parameter) {
        const QString &name = parameter.key();
        if (name.isEmpty())
            continue;
        Request present;
        bool isLost = false;
        {
            const ScopedLock lock(*this);
            const bool isPending = isParameterKnown(name) && d->parameters[name].checkFinishedState();
            if (isPending)
                continue;
            const auto confirmed = d->confirmed.find(name);
            isLost = confirmed != d->confirmed.end() && confirmed->second != parameter.value();
            setRequestForParameter(name, parameter.value());
            present = d->parameters[name];
            d->parameters[name].m_isFinished = true;
            if (isLost)
                d->parameters[name].setRequestValue(confirmed->second);
        }
        present.finish(parameter.value());
        if (isLost)
            forward(name);
        emit parameterInitialized(name);
    }
    const ScopedLock lock(*this);
    d->identification = deviceIdentification;
    d->isInitialized = true;
}

bool DeviceRequestResponseProvider::isInitialized() const
{
    const ScopedLock lock(*this);
    return d->isInitialized;
}

Protocols::ProtocolMessageBuilder DeviceRequestResponseProvider::getProtocolMessageRequestBuilder() const
{
    return d->requestBuilder;
}

Protocols::ProtocolMessageBuilder DeviceRequestResponseProvider::getProtocolMessageResponseBuilder() const
{
    return d->responseBuilder;
}

void DeviceRequestResponseProvider::setRequestHook(const DeviceRequestHook &hook)
{
    const ScopedLock lock(*this);
    d->hook = hook;
}

void DeviceRequestResponseProvider::onConnectionStatusChanged(const QString &status)
{
    ConnectionStatus parsed = Connecting;
    if (!ParseConnectionStatus(status, parsed)) {
        // The misspelling is part of the message, which others look for.
        qCWarning(libraryLog()).noquote().nospace()
            << "DeviceRequestResponseProvider::onConnectionStatusChanged() provided connestion status string=" << status
            << " is not a valid status";
        return;
    }
    if (parsed == Established) {
        emit deviceConnected();
        if (isInitialized())
            emit parameterInitialized(QString());
    } else if (parsed == Disconnected) {
        emit deviceDisconnected();
    }
}

} // namespace CommonNOX::Devices
