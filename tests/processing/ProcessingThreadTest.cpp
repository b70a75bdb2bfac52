// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/ProcessingThread.h"

#include "FakeDevice.h"
#include "LogCapture.h"
#include "TestSignals.h"
#include "processing/DataManager.h"

#include <QCoreApplication>
#include <gtest/gtest.h>

namespace vt {
namespace {

struct Rig
{
    Rig() { manager.beginSegment(&device); }
    static DataManager::Config config()
    {
        DataManager::Config config;
        config.channelCount = 1;
        return config;
    }

    test::LogCapture log;
    test::SteppingTimeSource time;
    test::FakeDevice device{{test::makeSignal("breathing", 12000, 600.0)}};
    DataManager manager{config(), time};
};

TEST(ProcessingThread, WorksOffEveryNotificationBeforeItEnds)
{
    Rig rig;
    ProcessingThread thread(rig.manager);
    for (int i = 0; i < 50; ++i)
        thread.notify(); // before the start, too
    thread.start(QThread::HighestPriority);
    for (int i = 0; i < 950; ++i)
        thread.notify();
    EXPECT_TRUE(thread.finish(20000));
    EXPECT_EQ(rig.manager.framesProcessed(), 1000U);
    EXPECT_TRUE(thread.isFinished());
    EXPECT_TRUE(thread.finish(1000)) << "again";
}

TEST(ProcessingThread, DestructionFinishes)
{
    Rig rig;
    for (int round = 0; round < 20; ++round) {
        ProcessingThread thread(rig.manager);
        thread.start();
        thread.notify();
    }
    EXPECT_EQ(rig.manager.framesProcessed(), 20U);
    ProcessingThread neverStarted(rig.manager);
}

TEST(ProcessingThread, ResultsCrossToTheReceiversThread)
{
    Rig rig;
    QObject receiver;
    std::vector<bool> noSignal;
    std::vector<double> stats;
    QObject::connect(&rig.manager, &DataManager::newSleepDecision, &receiver,
                     [&](const std::vector<bool>&, const std::vector<QDateTime>&,
                         const std::vector<double>& decisionStats) { stats = decisionStats; });
    QObject::connect(&rig.manager, &DataManager::sensorNoSignal, &receiver,
                     [&](const std::vector<bool>& bits) { noSignal = bits; });
    ProcessingThread thread(rig.manager);
    thread.start();
    for (int i = 0; i < 60; ++i)
        thread.notify();
    ASSERT_TRUE(thread.finish(20000));
    EXPECT_TRUE(noSignal.empty()) << "queued, not called on the processing thread";
    QCoreApplication::sendPostedEvents(&receiver);
    EXPECT_EQ(noSignal.size(), 1U);
    EXPECT_EQ(stats, std::vector<double>{0.0});
}

} // namespace
} // namespace vt
