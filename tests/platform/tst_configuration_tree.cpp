#include "platform/configuration_tree.h"
#include "platform/visitors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace Utilities;
using testing::ElementsAre;

static const QString path = QStringLiteral("a/b");

static QStringList names(const char *separated)
{
    return QString::fromLatin1(separated).split(QLatin1Char(' '));
}

/// A service as applications keep them in the tree: its end comes back to the tree through its own reader.
struct Service
{
    explicit Service(const std::shared_ptr<ConfigurationTree> &tree)
        : visitor(Shared::GuiContexts::MakeReader(QStringLiteral("service"), tree))
    {}
    ~Service()
    {
        visitor.setProperty(QStringLiteral("status"), QStringLiteral("gone"));
        ++ended;
    }
    GuiContextVisitor visitor;
    static inline std::atomic<int> ended = 0;
};
using ServicePtr = std::shared_ptr<Service>;
Q_DECLARE_METATYPE(ServicePtr)

namespace
{

TEST(ConfigurationTree, EveryWriteIsDeliveredAlsoAnEqualOne)
{
    ConfigurationTree tree;
    std::vector<int> exact;
    QStringList group;
    const auto one =
        tree.subscribe(path, [&](const QString &, const QVariant &value) { exact.push_back(value.toInt()); });
    const auto two =
        tree.subscribeGroup(QStringLiteral("a"), [&](const QString &at, const QVariant &) { group += at; });
    int all = 0;
    const auto root = tree.subscribeGroup(QString(), [&](const QString &, const QVariant &) { ++all; });
    for (const int value : {1, 1, 2})
        EXPECT_TRUE(tree.write(path, value));
    for (const char *other : {"a", "a/b/c", "ab", "b/a"})
        EXPECT_TRUE(tree.write(QLatin1String(other), 7));
    EXPECT_FALSE(tree.write(QString(), 1));
    EXPECT_THAT(exact, ElementsAre(1, 1, 2));
    EXPECT_EQ(group.join(QLatin1Char(' ')), QStringLiteral("a/b a/b a/b a a/b/c"));
    EXPECT_EQ(all, 7);
}

TEST(ConfigurationTree, AWriteFromWithinACallBackComesBehindTheRunningDelivery)
{
    ConfigurationTree tree;
    std::vector<std::pair<char, int>> seen;
    const auto first = tree.subscribe(path, [&](const QString &, const QVariant &value) {
        seen.emplace_back('a', value.toInt());
        if (value.toInt() < 2) {
            EXPECT_TRUE(tree.write(path, value.toInt() + 1));
        }
        EXPECT_EQ(tree.read(path).toInt(), std::min(value.toInt() + 1, 2)) << "stored at once";
    });
    const auto second =
        tree.subscribe(path, [&](const QString &, const QVariant &value) { seen.emplace_back('b', value.toInt()); });
    tree.write(path, 0);
    using P = std::pair<char, int>;
    EXPECT_THAT(seen, ElementsAre(P('a', 0), P('b', 0), P('a', 1), P('b', 1), P('a', 2), P('b', 2)));
}

TEST(ConfigurationTree, TheDeliveringThreadTakesOverTheWritesOfOthers)
{
    ConfigurationTree tree;
    std::vector<std::thread::id> seen;
    const auto subscription = tree.subscribe(path, [&](const QString &, const QVariant &value) {
        seen.push_back(std::this_thread::get_id());
        if (value.toInt() == 1)
            std::thread([&] { tree.write(path, 2); }).join();
    });
    tree.write(path, 1);
    EXPECT_EQ(seen, std::vector<std::thread::id>(2, std::this_thread::get_id()));
}

TEST(ConfigurationTree, ManyWritersOfOnePathKeepTheirOrders)
{
    constexpr int Writers = 4, Writes = 300;
    ConfigurationTree tree;
    std::vector<int> seen;
    std::atomic<int> inside = 0;
    const auto subscription = tree.subscribe(path, [&](const QString &, const QVariant &value) {
        EXPECT_EQ(++inside, 1) << "one delivery of a path at a time";
        seen.push_back(value.toInt());
        --inside;
    });
    std::vector<std::thread> threads;
    for (int writer = 0; writer < Writers; ++writer) {
        threads.emplace_back([&tree, writer] {
            for (int i = 0; i < Writes; ++i) {
                tree.write(path, writer * Writes + i);
                const auto passing = tree.subscribe(path, [](const QString &, const QVariant &) {});
                tree.dropGroup(QStringLiteral("other"));
            }
        });
    }
    for (auto &thread : threads)
        thread.join();
    ASSERT_EQ(seen.size(), std::size_t(Writers * Writes));
    std::vector<int> next(Writers);
    for (const int value : seen)
        EXPECT_EQ(value % Writes, next[std::size_t(value / Writes)]++);
}

TEST(ConfigurationTree, EndingASubscriptionWaitsForItsCallBack)
{
    ConfigurationTree tree;
    std::promise<void> entered;
    std::atomic<bool> finished = false;
    auto subscription = tree.subscribe(path, [&](const QString &, const QVariant &) {
        entered.set_value();
        for (int i = 0; i < 1000; ++i)
            std::this_thread::yield();
        finished = true;
    });
    std::thread writer([&] { tree.write(path, 1); });
    entered.get_future().wait();
    subscription.reset();
    EXPECT_TRUE(finished);
    writer.join();
    tree.write(path, 2);
}

TEST(ConfigurationTree, ACallBackMayEndItsOwnSubscriptionOrThrow)
{
    ConfigurationTree tree;
    int calls = 0, others = 0, good = 0;
    Shared::Subscription own, other;
    own = tree.subscribe(path, [&](const QString &, const QVariant &) {
        ++calls;
        own.reset();
        other.reset();
        throw std::runtime_error("no");
    });
    other = tree.subscribe(path, [&](const QString &, const QVariant &) { ++others; });
    const auto unharmed = tree.subscribe(path, [&](const QString &, const QVariant &) { ++good; });
    EXPECT_TRUE(tree.write(path, 1));
    EXPECT_TRUE(tree.write(path, 2));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(others, 0) << "no call begins after the end";
    EXPECT_EQ(good, 2);
}

TEST(ConfigurationTree, ThePathOfAWriteMayDieWhileItIsDelivered)
{
    ConfigurationTree tree;
    auto owned = std::make_unique<QString>(QStringLiteral("a/") + QString(100, QLatin1Char('x')));
    const QString expected = owned->left(102);
    QStringList seen;
    const auto first = tree.subscribe(*owned, [&](const QString &, const QVariant &) { owned.reset(); });
    const auto second = tree.subscribe(*owned, [&](const QString &at, const QVariant &) { seen += at; });
    tree.write(*owned, 1);
    tree.write(expected, 2);
    EXPECT_EQ(seen, QStringList({expected, expected}));
}

TEST(ConfigurationTree, DroppingAGroupTellsItsSubscribers)
{
    ConfigurationTree tree;
    for (const char *leaf : {"a", "a/b", "a/b/c", "a!", "ab", "a0/x"})
        tree.write(QLatin1String(leaf), 1);
    QStringList told;
    const auto group = tree.subscribeGroup(QStringLiteral("a"), [&](const QString &at, const QVariant &value) {
        EXPECT_FALSE(value.isValid());
        EXPECT_FALSE(tree.contains(at));
        told += at;
    });
    EXPECT_EQ(tree.getChildren(QString()), names("a a! a0 ab"));
    EXPECT_FALSE(tree.dropGroup(QString()));
    EXPECT_TRUE(tree.dropGroup(QStringLiteral("a")));
    EXPECT_FALSE(tree.dropGroup(QStringLiteral("a")));
    EXPECT_EQ(told.join(QLatin1Char(' ')), QStringLiteral("a a/b a/b/c"));
    EXPECT_EQ(tree.getChildren(QString()), names("a! a0 ab"));
}

/// Takes positive numbers; says nothing about 1.
class PositiveParser final : public Shared::ValueParserInterface
{
public:
    bool read(const QVariant &, QVariant &out) const override
    {
        out = m_last;
        return m_last.isValid();
    }
    bool write(QVariant &out, const QVariant &in) const override
    {
        if (in.toInt() <= 0)
            return false;
        m_last = in;
        if (in.toInt() > 1)
            out = in.toInt() * 10;
        return true;
    }
    QString getId() const override { return QStringLiteral("positive"); }

private:
    mutable QVariant m_last;
};

TEST(ConfigurationTree, AParserTakesTheWritesOfItsLeaf)
{
    ConfigurationTree tree;
    EXPECT_FALSE(tree.setParser(path, nullptr));
    EXPECT_FALSE(tree.setParser(QString(), std::make_shared<PositiveParser>()));
    tree.write(path, 5);
    ASSERT_TRUE(tree.setParser(path, std::make_shared<PositiveParser>()));
    std::vector<int> seen;
    const auto subscription =
        tree.subscribe(path, [&](const QString &, const QVariant &value) { seen.push_back(value.toInt()); });
    bool ok = true;
    EXPECT_FALSE(tree.read(path, &ok).isValid());
    EXPECT_FALSE(ok);
    EXPECT_FALSE(tree.write(path, -1));
    EXPECT_TRUE(tree.write(path, 1));
    EXPECT_TRUE(tree.write(path, 2));
    EXPECT_EQ(tree.read(path, &ok).toInt(), 2);
    EXPECT_TRUE(ok);
    EXPECT_THAT(seen, ElementsAre(20));
    tree.dropGroup(path);
    EXPECT_TRUE(tree.write(path, -1)) << "a plain leaf again";
}

TEST(ConfigurationTree, ValuesDieWithoutALockOfTheTree)
{
    const auto tree = std::make_shared<ConfigurationTree>();
    const auto service = [&] { return QVariant::fromValue(std::make_shared<Service>(tree)); };
    Service::ended = 0;
    const auto listener = tree->subscribe(path, [&](const QString &, const QVariant &value) {
        if (value.toInt() != 1)
            return;
        // Two at once: the first is held by nothing but the waiting delivery.
        tree->write(path, service());
        tree->write(path, 2);
    });
    tree->write(path, service());
    tree->write(path, 1);
    EXPECT_EQ(Service::ended, 2);
    tree->write(path, service());
    tree->dropGroup(path);
    EXPECT_EQ(Service::ended, 3);
    tree->write(path, service());
    tree->setParser(path, std::make_shared<PositiveParser>());
    EXPECT_EQ(Service::ended, 4);
}

TEST(ConfigurationTree, TeardownBreaksTheRingOfTreeServiceAndReader)
{
    auto tree = std::make_shared<ConfigurationTree>();
    const std::weak_ptr<ConfigurationTree> watched = tree;
    Service::ended = 0;
    tree->write(QStringLiteral("service/one"), QVariant::fromValue(std::make_shared<Service>(tree)));
    tree->clear();
    EXPECT_EQ(Service::ended, 1);
    tree.reset();
    EXPECT_TRUE(watched.expired());
}

} // namespace
