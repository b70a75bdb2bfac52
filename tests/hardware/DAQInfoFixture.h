// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FakeTimeSource.h"
#include "FakeUnit.h"
#include "LogCapture.h"
#include "McuImage.h"
#include "hardware/DAQInfo.h"

#include <QEventLoop>
#include <QTemporaryDir>
#include <QTimer>
#include <algorithm>
#include <gtest/gtest.h>
#include <memory>

namespace vt::test {

inline const FakeUnit::Device Dev1{"Dev1", "USB-6210", 42, false, 16};
inline const FakeUnit::Device Dev1Other{"Dev1", "USB-6210", 43, false, 16};
inline const FakeUnit::Device Dev2{"Dev2", "USB-6218", 7, true, 32};

/// Three buses of two tasks each, and the cage light.
inline constexpr int TasksWithoutUnits = 7;

/// Runs call(answer) and the event loop until the answer is there; empty after 10 s.
template <typename Value, typename Call>
std::optional<Value> answerOf(Call call)
{
    std::optional<Value> answer;
    QEventLoop loop;
    QTimer::singleShot(10'000, &loop, &QEventLoop::quit);
    call([&](Value value) {
        answer = std::move(value);
        loop.quit();
    });
    if (!answer)
        loop.exec();
    return answer;
}

/// A DAQInfo over a fake unit, with fake time.
class DAQInfoTest : public testing::Test
{
protected:
    DAQInfoTest()
    {
        unit.setDevices({Dev1, Dev2});
        unit.withMcu([](I2cSlave& mcu) {
            const auto image = ratUnitRegisters();
            std::copy(image.begin(), image.end(), mcu.registers.begin());
        });
        info = std::make_unique<DAQInfo>(unit, time);
        info->setBuildInfoCachePath(cachePath());
    }

    [[nodiscard]] QString cachePath() const { return folder.filePath(QStringLiteral("cache/builds.json")); }
    bool select(const QString& name)
    {
        return answerOf<bool>([&](auto done) { info->selectDevice(name, done); }).value_or(false);
    }
    /// Asks for the device list and waits until the search has ended.
    void refresh()
    {
        QEventLoop loop;
        QObject::connect(info.get(), &DAQInfo::deviceListRefreshed, &loop, &QEventLoop::quit);
        info->refreshDAQList();
        loop.exec();
    }
    /// Waits until everything that was posted to the hardware thread has been done.
    void settle()
    {
        std::ignore = answerOf<bool>([&](auto done) { info->probeI2C(done); });
    }
    /// Lets fake time pass in polling steps, waiting for each look at the device list, until stop() holds.
    template <typename Stop>
    void stepUntil(Stop stop)
    {
        for (int step = 0; step < 100 && !stop(); ++step) {
            settle();
            if (!stop())
                time.advance(200);
        }
    }

    QTemporaryDir folder;
    LogCapture log;
    FakeUnit unit;
    FakeTimeSource time;
    std::unique_ptr<DAQInfo> info;
};

} // namespace vt::test
