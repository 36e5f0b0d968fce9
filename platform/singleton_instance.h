#pragma once

#include "platform/singleton.h"

namespace Shared
{

/// Included only where a Singleton is instantiated explicitly.
template <class T>
T &Singleton<T>::getInstance()
{
    static T instance;
    return instance;
}

} // namespace Shared
