#pragma once

#include "framework_export.h"
#include "platform/call_back_list.h"
#include "platform/value_parser.h"

#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <memory>

namespace Utilities
{

/// The application's tree of values.
///
/// A path is a text of components joined by the list separator ("/" unless the internal setting "list_separators"
/// says otherwise). A leaf holds a value, or a value parser that turns a write into an action. Any thread may use
/// any operation. No lock of the tree is held while a parser or a call-back runs.
class FRAMEWORK_EXPORT ConfigurationTree
{
public:
    using CallBack = std::function<void(const QString &path, const QVariant &value)>;

    ConfigurationTree();
    ConfigurationTree(const ConfigurationTree &) = delete;
    ConfigurationTree &operator=(const ConfigurationTree &) = delete;
    ~ConfigurationTree();

    /// Settings of the tree itself. "list_separators" is there from the start.
    QVariant getInternalSetting(const QString &key) const;
    void setInternalSetting(const QString &key, const QVariant &value);

    QString getListSeparator() const;
    /// Components joined by the separator; empty components are left out.
    QString joinPath(const QStringList &components) const;

    /// Stores the value, or hands it to the leaf's parser, and delivers it to the subscribers of the path: every
    /// write is delivered, an equal value too. Deliveries keep their order per path: they run in the writing
    /// thread, except that a write to a path which is being delivered (from another thread, or from within a
    /// call-back) is queued and delivered by the thread that is delivering already.
    /// False when the path is empty or the parser refuses the value.
    bool write(const QString &path, const QVariant &value);

    /// Puts a parser in the place of the leaf's value. False when the path or the parser is empty.
    bool setParser(const QString &path, const std::shared_ptr<Shared::ValueParserInterface> &parser);
    std::shared_ptr<Shared::ValueParserInterface> getParser(const QString &path) const;

    /// The leaf's value; through its parser when it has one. Invalid when there is no such leaf; `ok` tells.
    QVariant read(const QString &path, bool *ok = nullptr) const;

    bool contains(const QString &path) const;
    /// The names one level below the path, sorted, each once.
    QStringList getChildren(const QString &path) const;

    /// Removes the leaf at the path and every leaf below it; their subscribers get an invalid value. True when
    /// there was one. An empty path drops nothing, see clear().
    bool dropGroup(const QString &path);
    /// Removes everything without a notification: the teardown of an application, whose services own readers
    /// that own the tree.
    void clear();

    /// Calls back at every write of exactly this path, which need not exist yet.
    [[nodiscard]] Shared::Subscription subscribe(const QString &path, CallBack callBack);
    /// Calls back at every write of this path or of one below it; of any path when it is empty.
    [[nodiscard]] Shared::Subscription subscribeGroup(const QString &path, CallBack callBack);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

/// The tree of the application: made on first use, replaced by a host that brings its own.
FRAMEWORK_EXPORT std::shared_ptr<ConfigurationTree> GetApplicationConfigurationTree();
/// Later visitors see the new tree; existing ones keep theirs. An empty pointer brings a new empty tree.
FRAMEWORK_EXPORT void InstallApplicationConfigurationTree(const std::shared_ptr<ConfigurationTree> &tree);

} // namespace Utilities
