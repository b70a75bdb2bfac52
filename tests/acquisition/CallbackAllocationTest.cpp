// SPDX-License-Identifier: GPL-3.0-or-later
#include "AllocationCount.h"
#include "NidaqHarness.h"

#include <gmock/gmock.h>

namespace vt::test {

TEST(NidaqDataThread, CallbackAllocatesNothing)
{
    NidaqHarness h;
    ASSERT_TRUE(h.startRunning());
    h.driver.deliver();
    std::vector<long> allocations;
    allocations.reserve(8);
    // From the end of one read to the end of the next: everything but the fake's own bookkeeping.
    for (int i = 0; i < 8; ++i) {
        long afterRead = 0;
        h.driver.setReadHook([&] { afterRead = allocationsOnThisThread(); });
        h.driver.deliver();
        allocations.push_back(allocationsOnThisThread() - afterRead);
    }
    EXPECT_THAT(allocations, testing::Each(0));
}

} // namespace vt::test
