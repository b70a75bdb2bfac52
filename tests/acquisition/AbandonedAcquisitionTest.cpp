// SPDX-License-Identifier: GPL-3.0-or-later
#include "LogCapture.h"
#include "NidaqHarness.h"

#include <QElapsedTimer>
#include <gtest/gtest.h>
#include <thread>

namespace vt::test {

// An object that is destroyed while its read hangs leaves behind what the read still needs, and is not
// called by it.
TEST(AbandonedAcquisition, DestructionUnderAHangingReadIsSafe)
{
    LogCapture log;
    NidaqHarness h;
    ASSERT_TRUE(h.startRunning());
    h.driver.hangReads(true);
    std::thread driverThread([&] { h.driver.deliver(); });
    ASSERT_TRUE(h.driver.waitForReadUnderWay());
    QElapsedTimer timer;
    timer.start();
    h.device.reset();
    EXPECT_GE(timer.elapsed(), 4900);
    EXPECT_LT(timer.elapsed(), 8000);
    EXPECT_TRUE(log.hasPart(u"acquisition thread abandoned"_qs));
    h.driver.hangReads(false);
    driverThread.join();
    EXPECT_TRUE(h.driver.waitForCount("ClearTask", 1));
    EXPECT_EQ(h.notified, 0);
    EXPECT_EQ(h.driver.deadHandleCalls(), 0);
}

} // namespace vt::test
