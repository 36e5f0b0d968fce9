// The small helpers between threads: lists of call-backs, pending values, recursive locks; and intervals.

#include "platform/call_back_list.h"
#include "platform/interval.h"
#include "platform/lockable.h"
#include "platform/pending_value.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <memory>
#include <thread>
#include <utility>

namespace
{

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

TEST(Lockable, TheOwnerReentersAndACopyHasALockOfItsOwn)
{
    using namespace Shared::Synchronization;
    const Lockable lockable, copy(lockable);
    const ScopedLock outer(lockable), inner(lockable);
    std::thread([&] {
        EXPECT_FALSE(lockable.getLock().try_lock());
        const ScopedLock other(copy);
    }).join();
}

TEST(Interval, IsClosed)
{
    using Interval = Shared::Interval<double>;
    static_assert(Interval(1, 3).intersected({3, 5}) == Interval(3, 3));
    static_assert(!Interval(1, 3).intersected({4, 5}) && !Interval(3, 1).intersected({0, 5}));
    static_assert(Interval(1, 1).contains(1) && !Interval(1, 3).contains(3.5) && Interval(2, 1).isEmpty());
    EXPECT_FALSE(Interval(1, 3).contains(std::numeric_limits<double>::quiet_NaN()));
}

} // namespace
