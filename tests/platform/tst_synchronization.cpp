// The small helpers between threads: lists of call-backs, pending values, recursive locks; and intervals.

#include "platform/call_back_list.h"
#include "platform/interval.h"
#include "platform/lockable.h"
#include "platform/pending_value.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <stdexcept>
#include <thread>
#include <vector>

using testing::ElementsAre;

namespace
{

TEST(CallBackList, CallsInOrderWhoIsThereWhenTheCallBegins)
{
    Shared::CallBackList<int> list;
    std::vector<int> seen;
    Shared::Subscription late;
    Shared::Subscription first = list.subscribe([&](int value) {
        seen.push_back(value);
        late = list.subscribe([&](int other) { seen.push_back(100 + other); });
    });
    const auto second = list.subscribe([&](int value) { seen.push_back(10 + value); });
    list.call(1);
    first = Shared::Subscription();
    list.call(2);
    EXPECT_THAT(seen, ElementsAre(1, 11, 12, 102));
    late.reset();
    EXPECT_FALSE(late);
    EXPECT_FALSE(list.isEmpty());
}

TEST(CallBackList, AnExceptionReachesTheCallerWhenAllHaveBeenCalled)
{
    Shared::CallBackList<int> list;
    int sum = 0;
    const auto one = list.subscribe([](int) { throw std::runtime_error("first"); });
    const auto two = list.subscribe([&](int value) { sum += value; });
    EXPECT_THROW(list.call(3), std::runtime_error);
    EXPECT_EQ(sum, 3);
}

TEST(CallBackList, SubscriptionsOutliveTheListAndEndWhileOthersCall)
{
    Shared::Subscription orphan;
    {
        Shared::CallBackList<int> list;
        orphan = list.subscribe([](int) {});
        std::atomic<bool> stop = false;
        std::thread caller([&] {
            while (!stop)
                list.call(1);
        });
        for (int i = 0; i < 500; ++i) {
            // What the call-back uses dies right behind the subscription.
            const auto target = std::make_unique<std::atomic<int>>(0);
            const auto subscription = list.subscribe([used = target.get()](int value) { *used += value; });
        }
        stop = true;
        caller.join();
    }
    orphan.reset();
}

TEST(PendingValue, TheLatestValueCounts)
{
    Shared::PendingValue<QString> pending;
    QString target = QStringLiteral("kept");
    EXPECT_FALSE(pending.take(target));
    EXPECT_EQ(target, QStringLiteral("kept"));
    pending.set(QStringLiteral("a"));
    pending.set(QStringLiteral("b"));
    EXPECT_TRUE(pending.isPending());
    EXPECT_TRUE(pending.take(target));
    EXPECT_EQ(target, QStringLiteral("b"));
    EXPECT_FALSE(pending.take(target));
}

TEST(PendingValue, NoValueIsLostBetweenThreads)
{
    constexpr int Last = 20000;
    Shared::PendingValue<std::pair<int, int>> pending;
    std::thread writer([&] {
        for (int i = 1; i <= Last; ++i)
            pending.set({i, -i});
    });
    std::pair<int, int> value;
    for (int before = 0; value.first != Last;) {
        if (!pending.take(value)) {
            std::this_thread::yield();
            continue;
        }
        ASSERT_EQ(value.second, -value.first);
        ASSERT_GT(value.first, std::exchange(before, value.first));
    }
    writer.join();
    EXPECT_FALSE(pending.isPending());
}

TEST(Lockable, TheOwnerReentersWhileOthersWait)
{
    struct Counter : Shared::Synchronization::Lockable
    {
        void add(int depth)
        {
            const Shared::Synchronization::ScopedLock lock(*this);
            const int before = value;
            if (depth > 0)
                add(depth - 1);
            value = before + 1;
        }
        int value = 0;
    } counter;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < 500; ++n)
                counter.add(2);
        });
    }
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(counter.value, 2000);
    const Shared::Synchronization::ScopedLock held(counter);
    Counter copy(counter);
    std::thread([&] { copy.add(0); }).join();
    EXPECT_EQ(copy.value, 2001) << "a copy has a lock of its own";
}

TEST(Interval, IsClosed)
{
    using Interval = Shared::Interval<double>;
    constexpr double Infinity = std::numeric_limits<double>::infinity();
    constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
    static_assert(Interval(1, 3).intersected({3, 5}) == Interval(3, 3));
    static_assert(!Interval(1, 3).intersected({4, 5}) && !Interval(3, 1).intersected({0, 5}));
    static_assert(Interval(-Infinity, Infinity).contains(1e308) && !Interval(1, 3).contains(3.5));
    static_assert(Interval(1, 1).contains(1) && Interval(2, 1).isEmpty());
    EXPECT_FALSE(Interval(1, 3).contains(NaN)) << "NaN is in no interval";
}

} // namespace
