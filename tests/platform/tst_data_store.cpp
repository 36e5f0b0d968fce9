#include "platform/data_entry_monitor.h"
#include "platform/data_store.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

using namespace Utilities;

static const QString kind = QStringLiteral("qiec");
static const QString name = QStringLiteral("nox_device_7");

static QString held(const DataEntryInterface &entry)
{
    QStringList texts;
    for (const auto &[index, value] : entry.getValues(0, std::numeric_limits<quint64>::max()))
        texts += QStringLiteral("%1:%2").arg(index).arg(value.toInt());
    return texts.join(QLatin1Char(' '));
}

namespace
{

TEST(DataStore, KeepsTheHighestIndicesInOrder)
{
    struct Row
    {
        const char *what;
        std::vector<quint64> written;
        const char *held;
    };
    const quint64 largest = std::numeric_limits<quint64>::max();
    for (const Row &row :
         {Row{"nothing", {}, ""}, Row{"descending", {5, 4, 3, 2, 1}, "3:2 4:1 5:0"},
          Row{"again", {1, 2, 1, 2, 1}, "1:4 2:3"}, Row{"between", {10, 30, 20, 5, 25}, "20:2 25:4 30:1"},
          Row{"ends", {largest, 0, largest}, "0:1 18446744073709551615:2"}}) {
        DataStore store(3);
        const auto entry = store.createEntry(kind, name);
        for (std::size_t i = 0; i < row.written.size(); ++i)
            EXPECT_TRUE(entry->setValue(row.written[i], int(i)));
        EXPECT_EQ(held(*entry), QLatin1String(row.held)) << row.what;
        quint64 index = 0;
        QVariant value;
        EXPECT_EQ(entry->getLastValue(index, value), !row.written.empty()) << row.what;
        if (!row.written.empty()) {
            EXPECT_EQ(entry->getValue(index), value);
        }
    }
}

TEST(DataStore, RetentionFollowsTheStoreUnlessTheEntryHasItsOwn)
{
    DataStore store(0);
    EXPECT_EQ(store.getRetention(), 1u);
    store.setRetention(4);
    const auto general = store.createEntry(kind, name);
    const auto own = store.createEntry(kind, QStringLiteral("own"), 2);
    EXPECT_EQ(store.createEntry(kind, name, 1), general);
    for (int i = 0; i < 5; ++i) {
        general->setValue(quint64(i), i);
        own->setValue(quint64(i), i);
    }
    EXPECT_EQ(held(*general), QStringLiteral("1:1 2:2 3:3 4:4"));
    EXPECT_EQ(held(*own), QStringLiteral("3:3 4:4"));
    store.setRetention(2);
    EXPECT_EQ(general->getCount(), 4u) << "until the next write";
    general->setValue(9, 9);
    EXPECT_EQ(held(*general), QStringLiteral("4:4 9:9"));
    EXPECT_FALSE(general->setValue(10, QVariant()));
    EXPECT_TRUE(general->getValues(9, 4).empty());
}

TEST(DataStore, WritersReadersAndObserversAtOnce)
{
    constexpr quint64 Writes = 500;
    DataStore store(16);
    std::mutex mutex;
    std::map<quint64, int> seen;
    const auto subscription = store.observe([&](const DataEntryInterface &from, quint64 index, const QVariant &) {
        EXPECT_EQ(from.getName(), name);
        const std::lock_guard guard(mutex);
        ++seen[index];
    });
    std::vector<std::thread> threads;
    for (quint64 writer = 0; writer < 3; ++writer) {
        threads.emplace_back([&, writer] {
            const auto entry = store.createEntry(kind, name);
            for (quint64 i = 0; i < Writes; ++i) {
                entry->setValue(i * 3 + writer, int(i));
                EXPECT_FALSE(entry->getValues(0, 3 * Writes).empty());
            }
        });
    }
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(seen.size(), 3 * Writes);
    const auto entry = store.findEntry(kind, name);
    EXPECT_EQ(entry->getCount(), 16u);
    EXPECT_TRUE(entry->getValue(3 * Writes - 1).isValid());
}

TEST(DataEntryMonitor, FollowsAnEntryThatComesAndGoes)
{
    const auto store = std::make_shared<DataStore>();
    DataEntryMonitor monitor(kind, store);
    EXPECT_FALSE(monitor.getEntry());
    monitor.setEntryName(name);
    store->createEntry(QStringLiteral("qmax"), name);
    EXPECT_FALSE(monitor.getEntry());
    const auto entry = store->createEntry(kind, name);
    EXPECT_EQ(monitor.getEntry(), entry);
    store->clear();
    EXPECT_FALSE(monitor.getEntry());
    const auto other = store->createEntry(kind, QStringLiteral("other"));
    monitor.setEntryName(QStringLiteral("other"));
    EXPECT_EQ(monitor.getEntry(), other);
    EXPECT_TRUE(store->removeEntry(kind, QStringLiteral("other")));
    EXPECT_FALSE(store->removeEntry(kind, QStringLiteral("other")));
    EXPECT_FALSE(monitor.getEntry());
}

TEST(DataEntryMonitor, SeesWhatAnotherThreadMakesAndRemoves)
{
    const auto store = std::make_shared<DataStore>();
    InstallAppDataStore(store);
    DataEntryMonitor monitor(kind);
    InstallAppDataStore(nullptr);
    EXPECT_NE(GetAppDataStore(), store);
    monitor.setEntryName(name);
    std::atomic<int> turn = 0;
    std::thread other([&] {
        for (int i = 0; i < 200; ++i) {
            store->createEntry(kind, name)->setValue(quint64(i), i);
            turn = 2 * i + 1;
            while (turn != 2 * i + 2)
                std::this_thread::yield();
            store->removeEntry(kind, name);
        }
        turn = -1;
    });
    for (int seen = 0; seen < 200;) {
        const auto entry = monitor.getEntry();
        if (turn != 2 * seen + 1)
            continue;
        ASSERT_TRUE(monitor.getEntry());
        EXPECT_EQ(monitor.getEntry()->getValue(quint64(seen)), seen);
        turn = 2 * ++seen;
    }
    other.join();
    EXPECT_FALSE(monitor.getEntry());
}

} // namespace
