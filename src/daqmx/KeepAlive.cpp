// SPDX-License-Identifier: GPL-3.0-or-later
#include "daqmx/KeepAlive.h"

#include "base/Mutex.h"
#include "daqmx/NeverDestroyed.h"

#include <vector>

namespace vt {

namespace {

struct Kept
{
    Mutex mutex;
    std::vector<std::shared_ptr<void>> objects VT_GUARDED_BY(mutex);
};

Kept& kept()
{
    static NeverDestroyed<Kept> instance;
    return instance.get();
}

} // namespace

void keepAliveForever(std::shared_ptr<void> object)
{
    Kept& all = kept();
    MutexLock lock(all.mutex);
    all.objects.push_back(std::move(object));
}

bool isAnythingKeptAlive()
{
    Kept& all = kept();
    MutexLock lock(all.mutex);
    return !all.objects.empty();
}

} // namespace vt
