#pragma once

#include "framework_export.h"

#include <QObject>

#include <memory>
#include <mutex>

namespace Shared::Synchronization
{

/// A recursive lock of an object's own: its users re-enter from within locked calls.
class FRAMEWORK_EXPORT Lockable
{
public:
    Lockable() = default;
    /// A copy has a lock of its own.
    Lockable(const Lockable &) {}
    Lockable &operator=(const Lockable &) { return *this; }
    virtual ~Lockable();

    std::recursive_mutex &getLock() const { return m_lock; }

private:
    mutable std::recursive_mutex m_lock;
};

/// Holds the lock of a Lockable while it lives.
class ScopedLock
{
public:
    explicit ScopedLock(const Lockable &lockable) : m_guard(lockable.getLock()) {}
    ScopedLock(const ScopedLock &) = delete;
    ScopedLock &operator=(const ScopedLock &) = delete;

private:
    std::scoped_lock<std::recursive_mutex> m_guard;
};

/// Makes shared instances of T, and moves those that are Qt objects to the application's main thread.
template <class T>
class Shareable
{
public:
    template <class... Arguments>
    static std::shared_ptr<T> makeShared(Arguments &&...arguments)
    {
        return std::make_shared<T>(std::forward<Arguments>(arguments)...);
    }
};

/// Moves a service object to the thread of the application object, so that its slots run there.
class FRAMEWORK_EXPORT QApplicationMainThreadMover
{
public:
    virtual ~QApplicationMainThreadMover();

protected:
    /// Called by the constructor of the concrete class. Without an application, or when the object already lives
    /// there, nothing happens. Only the thread in which the object lives may call it.
    static void moveToApplicationMainThread(QObject *object);
};

/// What service objects derive from: shared ownership, a recursive lock, life on the main thread.
template <class T>
class SharedLockable : public Shareable<T>, public Lockable, public QApplicationMainThreadMover
{};

} // namespace Shared::Synchronization
