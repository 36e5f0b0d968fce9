#pragma once

#include "connections/devices/request.h"
#include "nox_export.h"

#include <QString>
#include <QVariant>

namespace CommonNOX::Devices
{

/// The parameters of a device, their requests and the paths under which these lie.
class NOX_EXPORT DeviceRequestResponseInterface
{
public:
    virtual ~DeviceRequestResponseInterface();

    virtual QString getConnectionPath() const = 0;
    virtual bool setConnectionPath(const QString &path) = 0;
    virtual QString getProtocolPath() const = 0;
    virtual QString getProtocolMethodPath(const QString &parameter) const = 0;
    virtual bool hasProtocolMethodPath(const QString &parameter) const = 0;
    virtual Interfaces::Request getRequestForParameter(const QString &parameter) const = 0;
    virtual void setRequestForParameter(const QString &parameter, const QVariant &value) = 0;
    virtual bool hasRequestPendingForParameter(const QString &parameter) const = 0;
    virtual QString getRequestPathForParameter(const QString &parameter) const = 0;
    virtual QString getResponsePathForParameter(const QString &parameter) const = 0;
    virtual QVariant getResponseForParameter(const QString &parameter) const = 0;
    virtual QString getConverterIdForParameter(const QString &parameter) const = 0;
    virtual bool hasConverterIdForParameter(const QString &parameter) const = 0;
    virtual bool setConverterIdForParameter(const QString &parameter, const QString &converterId) = 0;
    virtual QString getDeviceIdentification() const = 0;
};

} // namespace CommonNOX::Devices
