#include "platform/visitors.h"

namespace Utilities
{

FrameworkVisitor::FrameworkVisitor(const std::shared_ptr<ConfigurationTree> &tree)
    : m_tree(tree ? tree : GetApplicationConfigurationTree())
{}

FrameworkVisitor::FrameworkVisitor(const FrameworkVisitor &) = default;
FrameworkVisitor &FrameworkVisitor::operator=(const FrameworkVisitor &) = default;
FrameworkVisitor::~FrameworkVisitor() = default;

QVariant FrameworkVisitor::getAppConfig(const QString &path, const QVariant &defaultValue) const
{
    const QVariant value = m_tree->read(path);
    return value.isValid() ? value : defaultValue;
}

bool FrameworkVisitor::setAppConfig(const QString &path, const QVariant &value) const
{
    return m_tree->write(path, value);
}

Shared::Subscription FrameworkVisitor::subscribeAppConfig(const QString &path,
                                                          ConfigurationTree::CallBack callBack) const
{
    return m_tree->subscribe(path, std::move(callBack));
}

GuiContextVisitor::GuiContextVisitor(const std::shared_ptr<const Shared::GuiContexts::ReaderInterface> &reader)
    : FrameworkVisitor(reader ? reader->getTree() : nullptr), m_reader(reader)
{}

GuiContextVisitor::GuiContextVisitor(const GuiContextVisitor &) = default;
GuiContextVisitor &GuiContextVisitor::operator=(const GuiContextVisitor &) = default;
GuiContextVisitor::~GuiContextVisitor() = default;

QString GuiContextVisitor::getContextPath() const
{
    return m_reader ? m_reader->getRootPath() : QString();
}

QString GuiContextVisitor::getPropertyPath(const QString &name) const
{
    return getConfigurationTree()->joinPath({getContextPath(), name});
}

QVariant GuiContextVisitor::getProperty(const QString &name, const QVariant &defaultValue) const
{
    return getAppConfig(getPropertyPath(name), defaultValue);
}

bool GuiContextVisitor::setProperty(const QString &name, const QVariant &value) const
{
    return setAppConfig(getPropertyPath(name), value);
}

Shared::Subscription GuiContextVisitor::subscribeProperty(const QString &name,
                                                          ConfigurationTree::CallBack callBack) const
{
    return subscribeAppConfig(getPropertyPath(name), std::move(callBack));
}

} // namespace Utilities
