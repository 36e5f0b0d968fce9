#pragma once

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace Shared
{

namespace Detail
{

/// One subscriber's call-back and the state that lets a subscription end safely while it runs.
template <class... Arguments>
class CallBackSlot
{
public:
    explicit CallBackSlot(std::function<void(Arguments...)> callBack) : m_callBack(std::move(callBack)) {}

    void call(const Arguments &...arguments)
    {
        {
            const std::lock_guard guard(m_mutex);
            if (!m_active)
                return;
            m_runners.push_back(std::this_thread::get_id());
        }
        const Leave leave(*this);
        m_callBack(arguments...);
    }

    /// No call begins after this; a call that runs in another thread has ended on return.
    void end()
    {
        const auto self = std::this_thread::get_id();
        std::unique_lock lock(m_mutex);
        m_active = false;
        m_idle.wait(lock, [&] {
            return std::all_of(m_runners.begin(), m_runners.end(), [&](std::thread::id id) { return id == self; });
        });
    }

private:
    struct Leave
    {
        explicit Leave(CallBackSlot &owner) : slot(owner) {}
        Leave(const Leave &) = delete;
        Leave &operator=(const Leave &) = delete;
        ~Leave()
        {
            const std::lock_guard guard(slot.m_mutex);
            auto &runners = slot.m_runners;
            runners.erase(std::find(runners.begin(), runners.end(), std::this_thread::get_id()));
            slot.m_idle.notify_all();
        }
        CallBackSlot &slot;
    };

    std::mutex m_mutex;
    std::condition_variable m_idle;
    std::vector<std::thread::id> m_runners;
    bool m_active = true;
    const std::function<void(Arguments...)> m_callBack;
};

} // namespace Detail

/// Ends a subscription when it is destroyed or reset. Waits for the call-back if it runs in another thread; nobody
/// destroys one while holding a lock that its call-back takes. From within the call-back it returns at once.
class Subscription
{
public:
    Subscription() = default;
    explicit Subscription(std::function<void()> end) : m_end(std::move(end)) {}
    Subscription(Subscription &&other) noexcept : m_end(std::exchange(other.m_end, nullptr)) {}
    Subscription &operator=(Subscription &&other) noexcept
    {
        if (this != &other) {
            reset();
            m_end = std::exchange(other.m_end, nullptr);
        }
        return *this;
    }
    ~Subscription() { reset(); }

    void reset()
    {
        if (auto end = std::exchange(m_end, nullptr))
            end();
    }

    explicit operator bool() const { return static_cast<bool>(m_end); }

private:
    std::function<void()> m_end;
};

/// A list of call-backs that threads may join, leave and call at the same time. No lock is held during a call.
template <class... Arguments>
class CallBackList
{
    using Slot = Detail::CallBackSlot<Arguments...>;

public:
    using CallBack = std::function<void(Arguments...)>;

    Subscription subscribe(CallBack callBack)
    {
        auto slot = std::make_shared<Slot>(std::move(callBack));
        const std::lock_guard guard(m_state->mutex);
        m_state->subscribers.push_back(slot);
        return Subscription([state = std::weak_ptr(m_state), slot] {
            if (const auto list = state.lock()) {
                const std::lock_guard listGuard(list->mutex);
                list->subscribers.erase(std::remove(list->subscribers.begin(), list->subscribers.end(), slot),
                                        list->subscribers.end());
            }
            slot->end();
        });
    }

    bool isEmpty() const
    {
        const std::lock_guard guard(m_state->mutex);
        return m_state->subscribers.empty();
    }

    /// Calls every call-back that is subscribed now, in order of subscription. The first exception that one of them
    /// throws reaches the caller when all have been called.
    void call(const Arguments &...arguments) const
    {
        std::vector<std::shared_ptr<Slot>> subscribers;
        {
            const std::lock_guard guard(m_state->mutex);
            subscribers = m_state->subscribers;
        }
        std::exception_ptr thrown;
        for (const auto &slot : subscribers) {
            try {
                slot->call(arguments...);
            } catch (...) {
                if (!thrown)
                    thrown = std::current_exception();
            }
        }
        if (thrown)
            std::rethrow_exception(thrown);
    }

private:
    struct State
    {
        std::mutex mutex;
        std::vector<std::shared_ptr<Slot>> subscribers;
    };
    std::shared_ptr<State> m_state = std::make_shared<State>();
};

} // namespace Shared
