#include "connections/devices/request.h"

namespace CommonNOX::Devices::Interfaces
{

Request::Request() = default;

Request::Request(const QString &parameter, const QString &requestPath, const QString &responsePath,
                 const QVariant &requestValue, const std::shared_ptr<Utilities::ConfigurationTree> &tree)
    : Request(parameter, requestValue, requestPath, responsePath, false, tree)
{}

Request::Request(const QString &parameter, const QVariant &requestValue, const QString &requestPath,
                 const QString &responsePath, bool isFinished,
                 const std::shared_ptr<Utilities::ConfigurationTree> &tree)
    : FrameworkVisitor(tree), m_parameter(parameter), m_requestValue(requestValue), m_requestPath(requestPath),
      m_responsePath(responsePath), m_isFinished(isFinished)
{}

Request::Request(const Request &) = default;
Request &Request::operator=(const Request &) = default;
Request::~Request() = default;

void Request::setRequestValue(const QVariant &value)
{
    m_requestValue = value;
    m_isFinished = false;
}

bool Request::progress(const QVariant &value, bool replace)
{
    if (isEmpty())
        return false;
    if (replace)
        m_requestValue = value;
    setAppConfig(m_responsePath, value);
    return true;
}

bool Request::finish(const QVariant &value)
{
    if (!checkFinishedState())
        return false;
    m_isFinished = true;
    setAppConfig(m_responsePath, value);
    return true;
}

Request Request::take()
{
    const Request copy = *this;
    setRequestValue({});
    return copy;
}

} // namespace CommonNOX::Devices::Interfaces
