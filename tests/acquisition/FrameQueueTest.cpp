// SPDX-License-Identifier: GPL-3.0-or-later
#include "acquisition/FrameQueue.h"
#include "LogCapture.h"

#include <chrono>
#include <gtest/gtest.h>
#include <numeric>
#include <thread>
#include <vector>

namespace vt::test {

namespace {

constexpr int FrameSize = 2 * SamplesPerFrame;

std::vector<double> frame(double first)
{
    std::vector<double> values(FrameSize);
    std::iota(values.begin(), values.end(), first);
    return values;
}

/// The first sample of the next frame, or -1.
double pullFirst(FrameQueue& queue)
{
    std::vector<double> buffer(FrameSize);
    int samplesRead = 0;
    return queue.getLatestData(buffer.data(), FrameSize, &samplesRead) ? buffer.front() : -1.0;
}

void expectBalanced(const FrameQueue& queue, std::uint64_t pulled)
{
    const AcquisitionCounters counters = queue.counters();
    EXPECT_EQ(counters.framesAcquired, pulled + counters.framesDropped + counters.framesQueued);
}

} // namespace

TEST(FrameQueue, AProducerWithPatienceWaitsForRoomAndNoLonger)
{
    using namespace std::chrono_literals;
    FrameQueue queue(2);
    EXPECT_GT(queue.waitForRoom(1h), 59min) << "there is room at once";
    for (int i = 0; i < FrameQueueCapacity; ++i)
        queue.push(frame(i).data());
    EXPECT_EQ(queue.waitForRoom(1ms), 0ms) << "nobody takes any";
    std::thread consumer([&queue] { EXPECT_EQ(pullFirst(queue), 0.0); });
    EXPECT_GT(queue.waitForRoom(1h), 0ms);
    consumer.join();
    queue.push(frame(99).data());
    EXPECT_EQ(queue.counters().framesDropped, 0U);
    expectBalanced(queue, 1);
}

TEST(FrameQueue, DeliversWholeFramesInOrder)
{
    LogCapture log;
    FrameQueue queue(FrameSize);
    EXPECT_TRUE(log.has(u"Frame queue initialized: size= 10 frames, buffer size= 40 samples"_qs));
    EXPECT_EQ(queue.push(frame(100).data()), FrameQueue::PushResult::Queued);
    EXPECT_EQ(queue.push(frame(200).data()), FrameQueue::PushResult::Queued);

    std::vector<double> buffer(FrameSize);
    int samplesRead = 0;
    ASSERT_TRUE(queue.getLatestData(buffer.data(), FrameSize, &samplesRead));
    EXPECT_EQ(samplesRead, FrameSize);
    EXPECT_EQ(buffer, frame(100));
    EXPECT_DOUBLE_EQ(pullFirst(queue), 200);
    expectBalanced(queue, 2);
}

TEST(FrameQueue, EmptyPullChangesNothingButItsCounter)
{
    LogCapture log;
    FrameQueue queue(FrameSize);
    std::vector<double> buffer(FrameSize, 7.0);
    int samplesRead = 3;
    EXPECT_FALSE(queue.getLatestData(buffer.data(), FrameSize, &samplesRead));
    EXPECT_FALSE(queue.getLatestData(buffer.data(), FrameSize, &samplesRead));
    EXPECT_EQ(samplesRead, 3);
    EXPECT_EQ(buffer, std::vector<double>(FrameSize, 7.0));
    EXPECT_EQ(queue.counters().emptyPulls, 2U);
    EXPECT_TRUE(log.has(u"getLatestData FAILED: Queue empty (queueCount=0, empty errors: 2 )"_qs));
}

TEST(FrameQueue, BufferThatIsTooSmallLeavesTheFrame)
{
    LogCapture log;
    FrameQueue queue(FrameSize);
    queue.push(frame(5).data());
    std::vector<double> buffer(FrameSize - 1, 7.0);
    int samplesRead = 3;
    EXPECT_FALSE(queue.getLatestData(buffer.data(), FrameSize - 1, &samplesRead));
    EXPECT_EQ(samplesRead, 3);
    EXPECT_TRUE(log.has(u"getLatestData FAILED: Buffer too small! maxSize= 39 required= 40"_qs));
    EXPECT_EQ(queue.counters().emptyPulls, 0U);
    EXPECT_DOUBLE_EQ(pullFirst(queue), 5);
}

TEST(FrameQueue, OverflowDropsTheOldest)
{
    LogCapture log;
    FrameQueue queue(FrameSize);
    for (int i = 0; i < FrameQueueCapacity; ++i)
        EXPECT_EQ(queue.push(frame(i).data(), 1000 + i), FrameQueue::PushResult::Queued);
    EXPECT_EQ(queue.push(frame(10).data(), 1010), FrameQueue::PushResult::DroppedOldest);
    EXPECT_EQ(queue.push(frame(11).data(), 1011), FrameQueue::PushResult::DroppedOldest);
    EXPECT_TRUE(log.has(u"DAQ callback: Queue full, dropped oldest frame (total drops: 2 )"_qs));
    EXPECT_EQ(queue.counters().framesDropped, 2U);
    EXPECT_EQ(queue.counters().framesQueued, 10U);
    EXPECT_EQ(queue.takenFrameArrivedUs(), -1);
    for (int i = 2; i < 12; ++i) {
        EXPECT_DOUBLE_EQ(pullFirst(queue), i);
        EXPECT_EQ(queue.takenFrameArrivedUs(), 1000 + i);
    }
    EXPECT_DOUBLE_EQ(pullFirst(queue), -1);
    expectBalanced(queue, 10);
}

TEST(FrameQueue, BusyLockLosesTheNewFrameOnly)
{
    LogCapture log;
    FrameQueue queue(FrameSize);
    queue.push(frame(1).data());
    FrameQueue::PushResult result = FrameQueue::PushResult::Queued;
    queue.whileLocked([&] {
        std::thread producer([&] { result = queue.push(frame(2).data()); });
        producer.join();
    });
    EXPECT_EQ(result, FrameQueue::PushResult::SkippedBusy);
    EXPECT_TRUE(log.has(u"DAQ callback: buffer busy, skipping frame (queue unchanged)"_qs));
    EXPECT_EQ(queue.counters().framesAcquired, 2U);
    EXPECT_EQ(queue.counters().framesDropped, 1U);
    EXPECT_DOUBLE_EQ(pullFirst(queue), 1);
    expectBalanced(queue, 1);
}

// Producer and consumer at full speed: no frame is torn, none comes twice, and the books balance at the end.
TEST(FrameQueue, ConcurrentUseLosesNothingUncounted)
{
    LogCapture log;
    FrameQueue queue(FrameSize);
    constexpr int Frames = 3000;
    std::atomic<bool> isDone{false};
    std::uint64_t pulled = 0;
    double last = -1;
    bool isTorn = false;
    const auto pull = [&] {
        std::vector<double> buffer(FrameSize);
        int samplesRead = 0;
        if (queue.counters().framesQueued == 0 ||
            !queue.getLatestData(buffer.data(), FrameSize, &samplesRead))
            return;
        ++pulled;
        isTorn = isTorn || buffer != frame(buffer.front()) || buffer.front() <= last;
        last = buffer.front();
    };
    std::thread consumer([&] {
        while (!isDone)
            pull();
    });
    for (int i = 0; i < Frames; ++i)
        queue.push(frame(i * 1000.0).data());
    isDone = true;
    consumer.join();
    while (queue.counters().framesQueued > 0)
        pull();
    EXPECT_FALSE(isTorn);
    EXPECT_EQ(queue.counters().framesAcquired, static_cast<std::uint64_t>(Frames));
    expectBalanced(queue, pulled);
}

} // namespace vt::test
