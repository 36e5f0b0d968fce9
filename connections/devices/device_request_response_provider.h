#pragma once

#include "connections/devices/device_request_response_interface.h"
#include "connections/protocols/protocol_message_builder.h"
#include "nox_export.h"
#include "platform/lockable.h"
#include "platform/visitors.h"

#include <QMap>
#include <QObject>

#include <functional>
#include <memory>

namespace CommonNOX::Devices
{

/// How requests leave for the device. Both operations are called in the provider's thread with no lock held.
struct DeviceRequestHook
{
    /// Whether a request for the parameter has been sent and neither been answered nor given up.
    std::function<bool(const QString &parameter)> isRequestPending;
    /// Sends a request. Its end is told by finishRequestForParameter() or failRequestForParameter(), after which
    /// isRequestPending() is false. False when it cannot be sent: the value stays stored.
    std::function<bool(const QString &parameter, const QVariant &value)> sendRequest;
};

/// The parameters of one device. A write to a parameter's request leaf of the tree becomes a request to the device, the
/// device's answer a write to its response leaf.
///
/// A value that is stored while a request for its parameter is under way is sent when that one ends. Leaves may be
/// written from any thread; requests are handed on, and answers taken, in the provider's thread, which is the main one.
class NOX_EXPORT DeviceRequestResponseProvider
    : public QObject,
      public Shared::Synchronization::SharedLockable<DeviceRequestResponseProvider>,
      public std::enable_shared_from_this<DeviceRequestResponseProvider>,
      public Utilities::GuiContextVisitor,
      public DeviceRequestResponseInterface
{
    Q_OBJECT
public:
    using ReaderConstPtr = std::shared_ptr<const Shared::GuiContexts::ReaderInterface>;

    /// `methods` are the protocol's methods by parameter; that of the empty parameter holds for all that are not named.
    DeviceRequestResponseProvider(const ReaderConstPtr &reader, const QString &devicePath,
                                  const QMap<QString, QString> &methods);
    ~DeviceRequestResponseProvider() override;
    /// Makes a provider and puts it into the tree, where utils::GetDeviceRequestResponseProvider() finds it.
    static std::shared_ptr<DeviceRequestResponseProvider>
    Install(const ReaderConstPtr &reader, const QString &devicePath, const QMap<QString, QString> &methods);

    QString getConnectionPath() const override;
    /// Follows the status of the connection. False for an empty path.
    bool setConnectionPath(const QString &path) override;
    QString getProtocolPath() const override;
    QString getProtocolMethodPath(const QString &parameter) const override;
    bool hasProtocolMethodPath(const QString &parameter) const override;
    /// An empty request for an unknown parameter.
    Interfaces::Request getRequestForParameter(const QString &parameter) const override;
    /// Stores the value without handing it on; an unknown parameter becomes known.
    void setRequestForParameter(const QString &parameter, const QVariant &value) override;
    bool hasRequestPendingForParameter(const QString &parameter) const override;
    QString getRequestPathForParameter(const QString &parameter) const override;
    QString getResponsePathForParameter(const QString &parameter) const override;
    QVariant getResponseForParameter(const QString &parameter) const override;
    QString getConverterIdForParameter(const QString &parameter) const override;
    bool hasConverterIdForParameter(const QString &parameter) const override;
    bool setConverterIdForParameter(const QString &parameter, const QString &converterId) override;
    QString getDeviceIdentification() const override;

    /// Takes the present values of a device's parameters. Again after a reconnect: what is pending stays so, and a
    /// value that the device confirmed before and does not have any more is requested again.
    void initializeDeviceParameter(const QMap<QString, QVariant> &parameters, const QString &deviceIdentification);
    bool isInitialized() const;

    Protocols::ProtocolMessageBuilder getProtocolMessageRequestBuilder() const;
    Protocols::ProtocolMessageBuilder getProtocolMessageResponseBuilder() const;

    void setRequestHook(const DeviceRequestHook &hook);
    /// The device has taken the value of the request under way. False when none is pending.
    bool finishRequestForParameter(const QString &parameter, const QVariant &value);
    /// The device has refused it, or has not answered: the response stays what it was. False when none is pending.
    bool failRequestForParameter(const QString &parameter);
    /// The parameter has changed by itself, or by another host's wish.
    void noteParameterChange(const QString &parameter, const QVariant &value);

signals:
    void deviceConnected();
    void deviceDisconnected();
    /// A parameter has its first value; an empty name means all of them, after a reconnect.
    void parameterInitialized(const QString &parameter);

private slots:
    void onNewParameterRequestReceived(const QString &parameter, const QVariant &value);
    void onConnectionStatusChanged(const QString &status);
    void forwardWaiting();

private:
    bool isParameterKnown(const QString &parameter) const;
    void initializeSingleDeviceParameter(const QString &parameter, const QVariant &value);
    QString methodOf(const QString &parameter) const;
    QString leafPath(const QString &group, const QString &parameter) const;
    void forward(const QString &parameter);
    bool endRequest(const QString &parameter, const QVariant *value);

    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace CommonNOX::Devices

Q_DECLARE_METATYPE(std::shared_ptr<CommonNOX::Devices::DeviceRequestResponseProvider>)
