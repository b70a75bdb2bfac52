// SPDX-License-Identifier: GPL-3.0-or-later
#include "daqmx/KeepAlive.h"

#include "base/Mutex.h"

#include <cstddef>
#include <new>
#include <vector>

namespace vt {

namespace {

struct Kept
{
    Mutex mutex;
    std::vector<std::shared_ptr<void>> objects VT_GUARDED_BY(mutex);
};

/// Never destroyed: a thread that is still inside the driver at exit must find its objects.
Kept& kept()
{
    alignas(Kept) static std::byte storage[sizeof(Kept)];
    static Kept* const instance = ::new (static_cast<void*>(storage)) Kept;
    return *instance;
}

} // namespace

void keepAliveForever(std::shared_ptr<void> object)
{
    Kept& all = kept();
    MutexLock lock(all.mutex);
    all.objects.push_back(std::move(object));
}

} // namespace vt
