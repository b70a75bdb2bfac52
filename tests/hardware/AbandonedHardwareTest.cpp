// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeTimeSource.h"
#include "FakeUnit.h"
#include "LogCapture.h"
#include "hardware/DAQInfo.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <gtest/gtest.h>

namespace vt::test {

// A driver call that does not return must not keep the program from ending, and what it comes back to must
// still be there.
TEST(AbandonedHardware, DestructionWaitsFiveSecondsAtMost)
{
    LogCapture log;
    FakeUnit unit;
    FakeTimeSource time;
    unit.setDevices({{"Dev1", "USB-6210", 42, false, 8}});
    unit.hangFunction("ResetDevice");
    auto info = std::make_unique<DAQInfo>(unit, time);
    bool isAnswered = false;
    QEventLoop loop;
    QObject::connect(info.get(), &DAQInfo::deviceListRefreshed, &loop, &QEventLoop::quit);
    info->selectDevice(QStringLiteral("Dev1"), [&](bool) { isAnswered = true; });
    loop.exec();
    ASSERT_TRUE(unit.waitForHang());
    QElapsedTimer timer;
    timer.start();
    info.reset();
    EXPECT_GE(timer.elapsed(), 4900);
    EXPECT_LT(timer.elapsed(), 8000);
    EXPECT_TRUE(log.hasPart(QStringLiteral("hardware thread abandoned")));
    unit.release();
    EXPECT_TRUE(unit.waitForCount("ClearTask", 7)) << "the session that was under way is closed again";
    EXPECT_EQ(unit.openTasks(), 0);
    EXPECT_FALSE(isAnswered);
}

} // namespace vt::test
