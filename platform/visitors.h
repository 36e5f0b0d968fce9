#pragma once

#include "framework_export.h"
#include "platform/configuration_tree.h"
#include "platform/reader_interface.h"

#include <QString>
#include <QVariant>

#include <memory>

namespace Utilities
{

/// Access to a configuration tree by full path. Copies share the tree; any thread.
class FRAMEWORK_EXPORT FrameworkVisitor
{
public:
    /// Visits the given tree, or the application's tree of this moment when none is given.
    explicit FrameworkVisitor(const std::shared_ptr<ConfigurationTree> &tree = {});
    FrameworkVisitor(const FrameworkVisitor &);
    FrameworkVisitor &operator=(const FrameworkVisitor &);
    virtual ~FrameworkVisitor();

    /// The value at the path, or the default when there is none.
    QVariant getAppConfig(const QString &path, const QVariant &defaultValue = {}) const;
    bool setAppConfig(const QString &path, const QVariant &value) const;
    [[nodiscard]] Shared::Subscription subscribeAppConfig(const QString &path,
                                                          ConfigurationTree::CallBack callBack) const;

    std::shared_ptr<ConfigurationTree> getConfigurationTree() const { return m_tree; }

private:
    std::shared_ptr<ConfigurationTree> m_tree;
};

/// Access to the properties of one context: the leaves below a reader's root path.
class FRAMEWORK_EXPORT GuiContextVisitor : public FrameworkVisitor
{
public:
    /// Without a reader the visitor is invalid, and its context is the root of the application's tree.
    explicit GuiContextVisitor(const std::shared_ptr<const Shared::GuiContexts::ReaderInterface> &reader);
    GuiContextVisitor(const GuiContextVisitor &);
    GuiContextVisitor &operator=(const GuiContextVisitor &);
    ~GuiContextVisitor() override;

    bool isValid() const { return m_reader != nullptr; }
    std::shared_ptr<const Shared::GuiContexts::ReaderInterface> getReader() const { return m_reader; }
    QString getContextPath() const;
    /// The full path of a property of this context, as FrameworkVisitor takes it.
    QString getPropertyPath(const QString &name) const;

    QVariant getProperty(const QString &name, const QVariant &defaultValue = {}) const;
    bool setProperty(const QString &name, const QVariant &value) const;
    [[nodiscard]] Shared::Subscription subscribeProperty(const QString &name,
                                                         ConfigurationTree::CallBack callBack) const;

private:
    std::shared_ptr<const Shared::GuiContexts::ReaderInterface> m_reader;
};

} // namespace Utilities
