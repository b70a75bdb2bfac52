// SPDX-License-Identifier: GPL-3.0-or-later
#include "AnalogTask.h"
#include "base/TimeSource.h"

#include <atomic>
#include <cstdlib>
#include <future>
#include <gtest/gtest.h>
#include <new>

namespace {

thread_local int t_allocations = 0;

} // namespace

// Counts this thread's allocations, for the promise that blocks are delivered without any.
void* operator new(std::size_t size)
{
    ++t_allocations;
    if (void* memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

namespace vt::test {
namespace {

using Clock = SimulatedUnit::Clock;
constexpr auto Patience = std::chrono::seconds(20);

SimulatedUnit::Config config(Clock clock, double speed = 1.0, int channels = 2)
{
    SimulatedUnit::Config result;
    result.clock = clock;
    result.speed = speed;
    result.channels = channels;
    return result;
}

/// Fulfils its future when a number of callbacks has been read.
struct Countdown
{
    explicit Countdown(AnalogTask& task, int wanted) : left(wanted)
    {
        task.onCallback = [this, &task] {
            const std::int32_t status = task.read();
            if (status != 0 && left > 0)
                failure = status;
            if (--left == 0)
                done.set_value();
        };
    }
    bool wait() { return done.get_future().wait_for(Patience) == std::future_status::ready; }
    std::atomic<int> left;
    std::atomic<std::int32_t> failure{0};
    std::promise<void> done;
};

TEST(UnitPacing, RealTimeKeepsToAbsoluteDeadlines)
{
    SimulatedUnit unit(config(Clock::RealTime, 20.0));
    AnalogTask task(unit, 2);
    ASSERT_EQ(task.open(), 0);
    Countdown hundred(task, 100);
    const SystemTimeSource time;
    const qint64 startUs = time.monotonicUs();
    ASSERT_EQ(task.start(), 0);
    ASSERT_TRUE(hundred.wait());
    const qint64 elapsedUs = time.monotonicUs() - startUs;
    EXPECT_EQ(unit.DAQmxClearTask(task.handle), 0);
    EXPECT_EQ(hundred.failure, 0);
    EXPECT_GE(elapsedUs, 166'600) << "100 blocks of 1/30 s at 20 times real time";
    EXPECT_EQ(unit.advanceFrames(1), 0) << "only for the manual clock";
}

TEST(UnitPacing, RealTimeKeepsABacklogForASlowReader)
{
    SimulatedUnit unit(config(Clock::RealTime, 50.0));
    AnalogTask task(unit, 2);
    ASSERT_EQ(task.open(), 0);
    Countdown fifty(task, 50);
    unit.hangNextRead(100); // holds the first callback for about 150 blocks
    ASSERT_EQ(task.start(), 0);
    ASSERT_TRUE(fifty.wait());
    EXPECT_EQ(unit.DAQmxClearTask(task.handle), 0);
    EXPECT_EQ(fifty.failure, 0) << "no block was lost";
}

TEST(UnitPacing, RealTimeTellsAReaderThatWasTooSlow)
{
    SimulatedUnit unit(config(Clock::RealTime, 1000.0));
    AnalogTask task(unit, 2);
    ASSERT_EQ(task.open(), 0);
    Countdown announced(task, 300);
    unit.hangNextRead(50); // five times what the buffer holds
    ASSERT_EQ(task.start(), 0);
    ASSERT_TRUE(announced.wait()) << "the blocks that were acquired are announced";
    EXPECT_EQ(announced.failure, -200279);
    EXPECT_EQ(unit.DAQmxClearTask(task.handle), 0);
}

TEST(UnitPacing, AsReadyAsksBeforeEachBlock)
{
    SimulatedUnit unit(config(Clock::AsReady, 0.0));
    std::atomic<int> permits{50};
    std::promise<void> refused;
    std::atomic<int> refusals{0};
    unit.setReadyForMore([&] {
        if (permits.fetch_sub(1) > 0)
            return true;
        if (++refusals == 3)
            refused.set_value();
        return false;
    });
    AnalogTask task(unit, 2);
    ASSERT_EQ(task.open(), 0);
    ASSERT_EQ(task.start(), 0);
    ASSERT_EQ(refused.get_future().wait_for(Patience), std::future_status::ready);
    EXPECT_EQ(unit.framesDelivered(), 50U);
    Countdown more(task, 7);
    permits = 7;
    ASSERT_TRUE(more.wait());
    EXPECT_EQ(unit.DAQmxStopTask(task.handle), 0);
    EXPECT_EQ(unit.framesDelivered(), 57U);
    EXPECT_EQ(unit.DAQmxClearTask(task.handle), 0);
}

TEST(UnitPacing, AsReadyIsNotFasterThanItsSpeed)
{
    SimulatedUnit unit(config(Clock::AsReady, 100.0));
    AnalogTask task(unit, 2);
    ASSERT_EQ(task.open(), 0);
    Countdown blocks(task, 300);
    const SystemTimeSource time;
    const qint64 startUs = time.monotonicUs();
    ASSERT_EQ(task.start(), 0);
    ASSERT_TRUE(blocks.wait());
    EXPECT_GE(time.monotonicUs() - startUs, 99'900) << "10 s at 100 times real time";
    EXPECT_EQ(unit.DAQmxClearTask(task.handle), 0);
}

TEST(UnitPacing, StopOnAnotherThreadWaitsForTheCallback)
{
    SimulatedUnit unit(config(Clock::Manual));
    AnalogTask task(unit, 2);
    ASSERT_EQ(task.open(), 0);
    std::promise<void> inCallback;
    std::atomic<bool> callbackEnded{false};
    task.onCallback = [&] {
        inCallback.set_value();
        EXPECT_EQ(task.read(), 0) << "a block that was announced can be read";
        callbackEnded = true;
    };
    unit.hangNextRead(30);
    ASSERT_EQ(task.start(), 0);
    auto driver = std::async(std::launch::async, [&] { return unit.advanceFrames(1); });
    inCallback.get_future().wait();
    EXPECT_EQ(unit.DAQmxClearTask(task.handle), 0);
    EXPECT_TRUE(callbackEnded);
    EXPECT_EQ(driver.get(), 1);
    EXPECT_EQ(unit.deadHandleCalls(), 0);
}

TEST(UnitPacing, CallbackMayEndItsOwnTaskAndStartAnother)
{
    for (const Clock clock : {Clock::Manual, Clock::RealTime, Clock::AsReady}) {
        SimulatedUnit unit(config(clock, 50.0));
        AnalogTask first(unit, 2);
        AnalogTask second(unit, 2);
        Countdown blocks(second, 3);
        ASSERT_EQ(first.open(), 0);
        first.onCallback = [&] {
            EXPECT_EQ(unit.DAQmxStopTask(first.handle), 0);
            EXPECT_EQ(unit.DAQmxClearTask(first.handle), 0);
            EXPECT_EQ(second.open(), 0);
            EXPECT_EQ(second.start(), 0);
        };
        ASSERT_EQ(first.start(), 0);
        EXPECT_EQ(unit.advanceFrames(4), clock == Clock::Manual ? 4 : 0);
        EXPECT_TRUE(blocks.wait());
        EXPECT_EQ(unit.DAQmxClearTask(second.handle), 0);
        EXPECT_EQ(unit.openTaskCount(), 0);
        EXPECT_EQ(unit.deadHandleCalls(), 0);
    }
}

TEST(UnitPacing, BlocksAreDeliveredWithoutAllocation)
{
    SimulatedUnit unit(config(Clock::Manual, 1.0, 16));
    AnalogTask task(unit, 16);
    ASSERT_EQ(task.open(), 0);
    ASSERT_EQ(task.start(), 0);
    const int before = t_allocations;
    EXPECT_EQ(unit.advanceFrames(3000), 3000);
    EXPECT_EQ(t_allocations - before, 0);
    EXPECT_EQ(task.lastStatus, 0);
}

TEST(UnitPacing, UnitMayGoWhileItsTaskRuns)
{
    for (const Clock clock : {Clock::RealTime, Clock::AsReady}) {
        auto unit = std::make_unique<SimulatedUnit>(config(clock, 30.0));
        AnalogTask task(*unit, 2);
        ASSERT_EQ(task.open(), 0);
        Countdown blocks(task, 5);
        ASSERT_EQ(task.start(), 0);
        ASSERT_TRUE(blocks.wait());
        unit.reset();
    }
}

} // namespace
} // namespace vt::test
