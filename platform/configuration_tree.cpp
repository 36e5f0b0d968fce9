#include "platform/configuration_tree.h"

#include "platform/logging.h"

#include <QHash>

#include <deque>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace Utilities
{

namespace
{

struct Leaf
{
    QVariant value;
    std::shared_ptr<Shared::ValueParserInterface> parser;
};

using CallBacks = Shared::CallBackList<QString, QVariant>;

struct Delivery
{
    std::deque<QVariant> waiting;
    bool running = false;
};

} // namespace

struct ConfigurationTree::Private
{
    mutable std::mutex mutex;
    QHash<QString, QVariant> settings;
    std::map<QString, Leaf> leaves;
    std::map<QString, std::shared_ptr<CallBacks>> subscribers;
    std::map<QString, std::shared_ptr<CallBacks>> groupSubscribers;
    std::map<QString, Delivery> deliveries;

    QString separator() const { return settings.value(QStringLiteral("list_separators")).toString(); }

    template <class Map>
    static auto group(Map &map, const QString &path, const QString &separator)
    {
        const QString below = path + separator;
        std::vector<typename Map::iterator> found;
        if (const auto exact = map.find(path); exact != map.end())
            found.push_back(exact);
        for (auto it = map.lower_bound(below); it != map.end() && it->first.startsWith(below); ++it)
            found.push_back(it);
        return found;
    }

    std::vector<std::shared_ptr<CallBacks>> listeners(const QString &path) const
    {
        std::vector<std::shared_ptr<CallBacks>> result;
        if (const auto exact = subscribers.find(path); exact != subscribers.end())
            result.push_back(exact->second);
        for (const auto &[root, list] : groupSubscribers) {
            if (root.isEmpty() || path == root || path.startsWith(root + separator()))
                result.push_back(list);
        }
        return result;
    }

    /// Queues the value and, unless a thread delivers this path already, delivers until the queue is empty.
    /// The path is a copy: a call-back may destroy the owner of the writer's.
    void deliver(std::unique_lock<std::mutex> &lock, const QString path, const QVariant &value)
    {
        if (listeners(path).empty())
            return;
        Delivery &delivery = deliveries[path];
        delivery.waiting.push_back(value);
        if (delivery.running)
            return;
        delivery.running = true;
        while (!delivery.waiting.empty()) {
            QVariant next = std::exchange(delivery.waiting.front(), QVariant());
            delivery.waiting.pop_front();
            const auto lists = listeners(path);
            lock.unlock();
            for (const auto &list : lists)
                callGuarded(*list, path, next);
            // It may be the last of the value, whose destructor may come back to the tree.
            next.clear();
            lock.lock();
        }
        deliveries.erase(path);
        if (const auto exact = subscribers.find(path); exact != subscribers.end() && exact->second->isEmpty())
            subscribers.erase(exact);
    }

    static void callGuarded(const CallBacks &list, const QString &path, const QVariant &value)
    {
        try {
            list.call(path, value);
        } catch (...) {
            qCWarning(Shared::frameworkLog, "ConfigurationTree() a call-back threw for path=%s", qUtf8Printable(path));
        }
    }

    Shared::Subscription join(std::map<QString, std::shared_ptr<CallBacks>> &lists, const QString &path,
                              CallBack callBack)
    {
        const std::lock_guard guard(mutex);
        auto &list = lists[path];
        if (!list)
            list = std::make_shared<CallBacks>();
        return list->subscribe(std::move(callBack));
    }
};

ConfigurationTree::ConfigurationTree() : d(std::make_unique<Private>())
{
    d->settings.insert(QStringLiteral("list_separators"), QStringLiteral("/"));
}

ConfigurationTree::~ConfigurationTree()
{
    clear();
}

QVariant ConfigurationTree::getInternalSetting(const QString &key) const
{
    const std::lock_guard guard(d->mutex);
    return d->settings.value(key);
}

void ConfigurationTree::setInternalSetting(const QString &key, const QVariant &value)
{
    const std::lock_guard guard(d->mutex);
    d->settings.insert(key, value);
}

QString ConfigurationTree::getListSeparator() const
{
    const std::lock_guard guard(d->mutex);
    return d->separator();
}

QString ConfigurationTree::joinPath(const QStringList &components) const
{
    QStringList parts = components;
    parts.removeAll(QString());
    return parts.join(getListSeparator());
}

bool ConfigurationTree::write(const QString &path, const QVariant &value)
{
    if (path.isEmpty())
        return false;
    std::unique_lock lock(d->mutex);
    Leaf &leaf = d->leaves[path];
    if (!leaf.parser) {
        // The old value dies outside the lock: it may own a service whose destructor comes back to the tree.
        const QVariant old = std::exchange(leaf.value, value);
        d->deliver(lock, path, value);
        lock.unlock();
        return true;
    }
    const auto parser = leaf.parser;
    lock.unlock();
    QVariant out;
    if (!parser->write(out, value))
        return false;
    if (out.isValid()) {
        lock.lock();
        d->deliver(lock, path, out);
    }
    return true;
}

bool ConfigurationTree::setParser(const QString &path, const std::shared_ptr<Shared::ValueParserInterface> &parser)
{
    if (path.isEmpty() || !parser)
        return false;
    Leaf old;
    const std::lock_guard guard(d->mutex);
    old = std::exchange(d->leaves[path], Leaf{QVariant(), parser});
    return true;
}

std::shared_ptr<Shared::ValueParserInterface> ConfigurationTree::getParser(const QString &path) const
{
    const std::lock_guard guard(d->mutex);
    const auto leaf = d->leaves.find(path);
    return leaf == d->leaves.end() ? nullptr : leaf->second.parser;
}

QVariant ConfigurationTree::read(const QString &path, bool *ok) const
{
    std::shared_ptr<Shared::ValueParserInterface> parser;
    {
        const std::lock_guard guard(d->mutex);
        const auto leaf = d->leaves.find(path);
        if (ok)
            *ok = leaf != d->leaves.end();
        if (leaf == d->leaves.end())
            return {};
        if (!leaf->second.parser)
            return leaf->second.value;
        parser = leaf->second.parser;
    }
    QVariant out;
    const bool good = parser->read(QVariant(), out);
    if (ok)
        *ok = good;
    return good ? out : QVariant();
}

bool ConfigurationTree::contains(const QString &path) const
{
    const std::lock_guard guard(d->mutex);
    return d->leaves.count(path) != 0;
}

QStringList ConfigurationTree::getChildren(const QString &path) const
{
    const std::lock_guard guard(d->mutex);
    const QString separator = d->separator();
    const QString below = path.isEmpty() ? QString() : path + separator;
    QStringList names;
    for (auto it = d->leaves.lower_bound(below); it != d->leaves.end() && it->first.startsWith(below); ++it) {
        const QString name = it->first.mid(below.size()).section(separator, 0, 0);
        if (names.isEmpty() || names.last() != name)
            names.append(name);
    }
    names.sort();
    names.removeDuplicates();
    return names;
}

bool ConfigurationTree::dropGroup(const QString &path)
{
    std::vector<std::pair<QString, Leaf>> dropped;
    std::unique_lock lock(d->mutex);
    for (const auto it : Private::group(d->leaves, path, d->separator())) {
        dropped.emplace_back(it->first, std::move(it->second));
        d->leaves.erase(it);
    }
    for (const auto &leaf : dropped)
        d->deliver(lock, leaf.first, QVariant());
    lock.unlock();
    return !dropped.empty();
}

void ConfigurationTree::clear()
{
    std::map<QString, Leaf> leaves;
    const std::lock_guard guard(d->mutex);
    leaves.swap(d->leaves);
}

Shared::Subscription ConfigurationTree::subscribe(const QString &path, CallBack callBack)
{
    return d->join(d->subscribers, path, std::move(callBack));
}

Shared::Subscription ConfigurationTree::subscribeGroup(const QString &path, CallBack callBack)
{
    return d->join(d->groupSubscribers, path, std::move(callBack));
}

namespace
{

struct ApplicationTree
{
    std::mutex mutex;
    std::shared_ptr<ConfigurationTree> tree = std::make_shared<ConfigurationTree>();
};

ApplicationTree &applicationTree()
{
    static ApplicationTree instance;
    return instance;
}

} // namespace

std::shared_ptr<ConfigurationTree> GetApplicationConfigurationTree()
{
    const std::lock_guard guard(applicationTree().mutex);
    return applicationTree().tree;
}

void InstallApplicationConfigurationTree(const std::shared_ptr<ConfigurationTree> &tree)
{
    auto next = tree ? tree : std::make_shared<ConfigurationTree>();
    const std::lock_guard guard(applicationTree().mutex);
    next.swap(applicationTree().tree);
}

} // namespace Utilities
