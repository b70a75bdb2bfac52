// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeTimeSource.h"
#include "base/BigEndian.h"
#include "base/Mutex.h"
#include "base/ThreadCall.h"

#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <array>
#include <gtest/gtest.h>
#include <latch>

using namespace vt;
using namespace vt::test;

namespace {

/// An object on a thread of its own that runs an event loop.
class Worker
{
public:
    Worker()
    {
        object.moveToThread(&thread);
        thread.start();
    }
    ~Worker()
    {
        thread.quit();
        thread.wait();
    }
    QThread thread;
    Inbox object;
};

} // namespace

TEST(BigEndian, MatchesBytesWrittenByHand)
{
    std::array<std::byte, 8> bytes{};
    storeBigEndian(std::uint32_t{0x01020384}, bytes.data());
    EXPECT_EQ(std::to_integer<int>(bytes[0]), 0x01);
    EXPECT_EQ(std::to_integer<int>(bytes[3]), 0x84);
    EXPECT_EQ(loadBigEndian<std::uint16_t>(bytes.data() + 2), 0x0384);
    storeBigEndianDouble(-2.5, bytes.data()); // C0 04 00 00 00 00 00 00
    EXPECT_EQ(std::to_integer<int>(bytes[0]), 0xC0);
    EXPECT_EQ(std::to_integer<int>(bytes[1]), 0x04);
    EXPECT_EQ(loadBigEndianDouble(bytes.data()), -2.5);
}

TEST(ThreadCall, RunsOnTheOwnersThreadAndGivesUpInTime)
{
    Worker worker;
    const auto ranOn = callOn(worker.object, 10000, [] { return QThread::currentThread(); });
    ASSERT_TRUE(ranOn);
    EXPECT_EQ(*ranOn, &worker.thread);
    Inbox here;
    EXPECT_EQ(callOn(here, 0, [] { return 7; }), 7) << "inline on the own thread";

    auto gate = std::make_shared<std::latch>(1);
    worker.object.post([gate] { gate->wait(); });
    EXPECT_EQ(callOn(worker.object, 20, [] { return 1; }), std::nullopt) << "the owner is busy";
    gate->count_down();
    EXPECT_TRUE(callOn(worker.object, 10000, [] { return true; }));
    worker.thread.quit();
    worker.thread.wait();
    EXPECT_EQ(callOn(worker.object, 10000, [] { return 1; }), std::nullopt) << "a thread that has ended";
}

TEST(ThreadCall, AsyncAnswersComeBackOrAreDroppedWithTheirReceiver)
{
    Worker worker;
    int answer = 0;
    const Inbox receiver;
    callAsync(
        worker.object, receiver, [] { return 42; }, [&answer](int value) { answer = value; });
    EXPECT_TRUE(QTest::qWaitFor([&answer] { return answer == 42; }));

    bool called = false;
    auto gate = std::make_shared<std::latch>(1);
    auto doomed = std::make_unique<Inbox>();
    callAsync(
        worker.object, *doomed,
        [gate] {
            gate->wait();
            return 1;
        },
        [&called](int) { called = true; });
    doomed.reset();
    gate->count_down();
    EXPECT_TRUE(callOn(worker.object, 10000, [] { return true; }));
    QCoreApplication::sendPostedEvents();
    EXPECT_FALSE(called);
}

TEST(Mutex, TimedTryGivesUpWhileAnotherThreadHoldsIt)
{
    Mutex mutex;
    Worker worker;
    std::latch held(1);
    std::latch release(1);
    worker.object.post([&] {
        const MutexLock lock(mutex);
        held.count_down();
        release.wait();
    });
    held.wait();
    const bool early = mutex.tryLockFor(std::chrono::microseconds(200));
    EXPECT_FALSE(early);
    if (early)
        mutex.unlock();
    release.count_down();
    const bool later = mutex.tryLockFor(std::chrono::seconds(10));
    EXPECT_TRUE(later);
    if (later)
        mutex.unlock();
}

TEST(SystemTimeSource, TimersFireOnceOrRepeatOnTheirContextsThread)
{
    SystemTimeSource time;
    Worker worker;
    std::atomic<int> repeats{0};
    std::atomic<QThread*> thread{nullptr};
    std::unique_ptr<Timer> timer;
    EXPECT_TRUE(callOn(worker.object, 10000, [&] {
        timer = time.createTimer(&worker.object, [&] {
            thread = QThread::currentThread();
            ++repeats;
        });
        timer->start(1, TimerMode::Repeating);
        return true;
    }));
    EXPECT_TRUE(QTest::qWaitFor([&] { return repeats >= 3; }));
    EXPECT_EQ(thread.load(), &worker.thread);
    EXPECT_TRUE(callOn(worker.object, 10000, [&] {
        timer.reset();
        return true;
    }));
}
