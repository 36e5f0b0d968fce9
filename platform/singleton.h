#pragma once

namespace Shared
{

/// The process-wide instance of T, made on first use and destroyed at process exit.
///
/// The operation is only declared here. The one library that owns T includes singleton_instance.h in one source
/// file and instantiates the template explicitly, exported; every other library sees an extern declaration. So
/// there is exactly one instance, whatever loads it.
template <class T>
class Singleton
{
public:
    /// Any thread; creation is serialised.
    static T &getInstance();
};

} // namespace Shared
