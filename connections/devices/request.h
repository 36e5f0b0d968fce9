#pragma once

#include "nox_export.h"
#include "platform/visitors.h"

#include <QString>
#include <QVariant>

namespace CommonNOX::Devices
{
class DeviceRequestResponseProvider;
}

namespace CommonNOX::Devices::Interfaces
{

/// One parameter of a device with its pending request. A value that is null is no request.
class NOX_EXPORT Request : public Utilities::FrameworkVisitor
{
public:
    Request();
    /// The paths are those of the parameter's leaves in the given tree, or in the application's when none is given.
    Request(const QString &parameter, const QString &requestPath, const QString &responsePath,
            const QVariant &requestValue, const std::shared_ptr<Utilities::ConfigurationTree> &tree = {});
    Request(const Request &);
    Request &operator=(const Request &);
    ~Request() override;

    QString getParameter() const { return m_parameter; }
    QString getRequestPath() const { return m_requestPath; }
    QString getResponsePath() const { return m_responsePath; }
    QVariant getRequestValue() const { return m_requestValue; }
    /// A new value opens a finished request again.
    void setRequestValue(const QVariant &value);
    bool isEmpty() const { return m_requestValue.isNull(); }
    bool isFinished() const { return m_isFinished; }

    /// Writes a value to the response's leaf while the request goes on; with `replace` it becomes the request's value
    /// too. False without a request.
    bool progress(const QVariant &value, bool replace);
    /// Writes the value to the response's leaf and ends the request. False without a request, and for one that has
    /// ended.
    bool finish(const QVariant &value);
    /// A copy; this one is without a request afterwards.
    Request take();

private:
    friend class CommonNOX::Devices::DeviceRequestResponseProvider;
    Request(const QString &parameter, const QVariant &requestValue, const QString &requestPath,
            const QString &responsePath, bool isFinished, const std::shared_ptr<Utilities::ConfigurationTree> &tree);
    /// Whether there is something to finish.
    bool checkFinishedState() const { return !m_isFinished && !isEmpty(); }

    QString m_parameter;
    QVariant m_requestValue;
    QString m_requestPath;
    QString m_responsePath;
    bool m_isFinished = false;
};

} // namespace CommonNOX::Devices::Interfaces
