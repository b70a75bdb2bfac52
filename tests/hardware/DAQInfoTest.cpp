// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/DAQInfo.h"
#include "DAQInfoFixture.h"
#include "hardware/MCUBufferMap.h"

#include <QSignalSpy>
#include <gmock/gmock.h>

namespace vt::test {

TEST(MCUBufferMap, ReadsLittleEndianFields)
{
    EXPECT_EQ(MCUBufferMap(ratUnitRegisters()).header(), ratUnitHeader());
}

TEST_F(DAQInfoTest, EnumeratesDevices)
{
    QSignalSpy changed(info.get(), &DAQInfo::deviceListChanged);
    refresh();
    EXPECT_THAT(info->devices(), testing::ElementsAre(DAQDevice{u"Dev1"_qs, u"USB-6210"_qs, u"42"_qs, false},
                                                      DAQDevice{u"Dev2"_qs, u"USB-6218"_qs, u"7"_qs, true}));
    EXPECT_TRUE(log.hasInOrder(
        {u"Device is Sim: False"_qs, u"Device is Sim: True"_qs,
         u"DAQInfo::refreshDAQList: enumerated 2 device(s): Dev1 type USB-6210 Dev2 type USB-6218"_qs}));
    refresh();
    EXPECT_EQ(changed.count(), 1) << "the same list again is no change";
}

TEST_F(DAQInfoTest, EnumerationErrorsAreNamed)
{
    for (const char* function : {"GetSysDevNames", "GetDevProductType", "GetDevSerialNum"}) {
        unit.failFunction(function);
        refresh();
        EXPECT_TRUE(log.has(QStringLiteral("DAQmx%1 error code: -88709").arg(QLatin1String(function))));
    }
    ASSERT_EQ(info->devices().size(), 2U);
    EXPECT_TRUE(info->devices()[0].serial.isEmpty());
    EXPECT_FALSE(select(u"Dev1"_qs)) << "a unit that does not tell its serial number cannot be recognised";
    EXPECT_FALSE(info->selectedDevice().has_value());
}

TEST_F(DAQInfoTest, SelectionResetsTheDeviceAndOpensThreeBuses)
{
    EXPECT_TRUE(select(u"Dev1"_qs)) << "not refreshed before: the list is fetched";
    EXPECT_EQ(info->selectedDevice()->serial, u"42"_qs);
    EXPECT_EQ(info->analogInputCount(), 16);
    EXPECT_TRUE(log.hasInOrder({u"Dev1/port0/line0"_qs, u"Dev1/port0/line1:2"_qs, u"Dev1/port0/line4"_qs,
                                u"Dev1/port0/line5:6"_qs, u"Dev1/port1/line0"_qs, u"Dev1/port1/line1:2"_qs}));
    EXPECT_EQ(unit.count("ResetDevice"), 1U);
    EXPECT_EQ(unit.openTasks(), TasksWithoutUnits);
    EXPECT_EQ(answerOf<bool>([&](auto done) { info->probeI2C(done); }), true);
    const auto header = answerOf<std::optional<MCUHeader>>([&](auto done) { info->getMCUHeader(done); });
    ASSERT_TRUE(header.has_value() && header->has_value());
    EXPECT_EQ(**header, ratUnitHeader());

    EXPECT_TRUE(select(u"Dev2"_qs));
    EXPECT_EQ(info->analogInputCount(), 16) << "32 inputs, 16 of them usable";
    EXPECT_EQ(unit.openTasks(), TasksWithoutUnits) << "the first device's buses are closed";
    info.reset();
    EXPECT_EQ(unit.openTasks(), 0);
    EXPECT_EQ(unit.deadHandleCalls(), 0);
}

TEST_F(DAQInfoTest, ResetThatFailsIsOnlyLogged)
{
    unit.failFunction("ResetDevice");
    EXPECT_TRUE(select(u"Dev1"_qs));
    EXPECT_TRUE(log.has(u"DAQmxResetDevice failed for Dev1 err= -88709"_qs));
}

TEST_F(DAQInfoTest, SilentMicrocontrollerIsReported)
{
    ASSERT_TRUE(select(u"Dev1"_qs));
    unit.withMcu([](I2cSlave& mcu) { mcu.isSilent = true; });
    EXPECT_EQ(answerOf<bool>([&](auto done) { info->probeI2C(done); }), false);
    EXPECT_TRUE(log.has(u"DAQInfo::probeI2C - MCU 0x10 read failed (i2c NAK / no response)"_qs));
    const auto header = answerOf<std::optional<MCUHeader>>([&](auto done) { info->getMCUHeader(done); });
    ASSERT_TRUE(header.has_value());
    EXPECT_FALSE(header->has_value());
    EXPECT_TRUE(log.has(u"DAQInfo::getMCUHeader - i2cRead failed"_qs));
}

TEST_F(DAQInfoTest, VanishedSelectionIsTornDownUnlessAcquiring)
{
    const QString tornDown =
        u"DAQInfo::refreshDAQList: selected device Dev1 no longer enumerated — tearing down stale I2C session"_qs;
    for (const auto& devices : {std::vector{Dev2}, std::vector{Dev1Other}}) {
        unit.setDevices({Dev1, Dev2});
        refresh();
        ASSERT_TRUE(select(u"Dev1"_qs));
        info->setAcquisitionStarted(true);
        const qsizetype before = log.count(tornDown);
        unit.setDevices(devices);
        refresh();
        EXPECT_EQ(unit.openTasks(), TasksWithoutUnits);
        EXPECT_EQ(log.count(tornDown), before);
        info->setAcquisitionStarted(false);
        refresh();
        refresh();
        settle();
        EXPECT_EQ(unit.openTasks(), 0);
        EXPECT_EQ(log.count(tornDown), before + 1) << "once";
        EXPECT_EQ(info->selectedDevice()->serial, u"42"_qs) << "recovery still knows what to wait for";
    }
}

TEST_F(DAQInfoTest, PresenceMeansTheVeryUnit)
{
    const auto isPresent = [this] {
        return answerOf<bool>([&](auto done) { info->isDevicePresent(done); }).value_or(false);
    };
    EXPECT_FALSE(isPresent()) << "nothing selected";
    ASSERT_TRUE(select(u"Dev1"_qs));
    EXPECT_TRUE(isPresent());
    unit.setDevices({Dev1Other, Dev2});
    EXPECT_FALSE(isPresent());
    unit.setDevices({Dev2});
    EXPECT_FALSE(isPresent());
    unit.setDevices({Dev2, Dev1});
    EXPECT_TRUE(isPresent());
    info->deselect();
    EXPECT_FALSE(isPresent());
}

TEST_F(DAQInfoTest, WaitEndsWhenTheUnitIsBack)
{
    ASSERT_TRUE(select(u"Dev1"_qs));
    QSignalSpy waiting(info.get(), &DAQInfo::waitingForDevice);
    QSignalSpy ended(info.get(), &DAQInfo::waitingEnded);
    unit.setDevices({Dev1Other});
    std::optional<bool> ready;
    info->waitForDeviceReady(3000, [&](bool isReady) { ready = isReady; });
    EXPECT_EQ(waiting.count(), 1);
    for (int i = 0; i < 5; ++i) {
        time.advance(200);
        settle(); // the look at the list is over before the list changes
    }
    EXPECT_FALSE(ready.has_value()) << "a unit with another serial number does not count";
    unit.setDevices({Dev1});
    stepUntil([&] { return ready.has_value(); });
    EXPECT_EQ(ready, true);
    EXPECT_EQ(ended.count(), 1);
    EXPECT_TRUE(
        log.hasInOrder({u"DAQInfo::waitForDeviceReady: waiting up to 3000 ms for Dev1 to re-enumerate"_qs,
                        u"DAQInfo::waitForDeviceReady: ready after 1200 ms"_qs}));
    EXPECT_EQ(time.activeTimers(), 1) << "that of the status poll";
}

TEST_F(DAQInfoTest, WaitRunsOut)
{
    ASSERT_TRUE(select(u"Dev1"_qs));
    unit.setDevices({});
    unit.forgetCalls();
    std::optional<bool> ready;
    info->waitForDeviceReady(1000, [&](bool isReady) { ready = isReady; });
    stepUntil([&] { return ready.has_value(); });
    EXPECT_EQ(ready, false);
    EXPECT_TRUE(log.has(u"DAQInfo::waitForDeviceReady: timeout after 1000 ms"_qs));
    EXPECT_EQ(unit.count("GetSysDevNames"), 5U) << "at 0, 200, 400, 600 and 800 ms";
}

TEST_F(DAQInfoTest, RecoveryRebuildsTheSession)
{
    ASSERT_TRUE(select(u"Dev1"_qs));
    unit.failFunction("WriteDigitalU32"); // the unit was unplugged: the buses fail for good
    EXPECT_EQ(answerOf<bool>([&](auto done) { info->probeI2C(done); }), false);
    unit.failFunction("");
    EXPECT_EQ(answerOf<bool>([&](auto done) { info->probeI2C(done); }), false) << "no way back but a new bus";
    EXPECT_EQ(answerOf<bool>([&](auto done) { info->recoverI2CSession(done); }), true);
    EXPECT_EQ(unit.count("ResetDevice"), 2U);
    EXPECT_EQ(unit.openTasks(), TasksWithoutUnits);
    EXPECT_EQ(unit.deadHandleCalls(), 0);
    EXPECT_EQ(answerOf<bool>([&](auto done) { info->probeI2C(done); }), true);
}

TEST_F(DAQInfoTest, RecoveryIsRefusedOrGivenUp)
{
    EXPECT_EQ(answerOf<bool>([&](auto done) { info->recoverI2CSession(done); }), false);
    EXPECT_TRUE(log.has(u"DAQInfo::recoverI2CSession: no device selected"_qs));
    ASSERT_TRUE(select(u"Dev1"_qs));

    info->setAcquisitionStarted(true);
    EXPECT_EQ(answerOf<bool>([&](auto done) { info->recoverI2CSession(done); }), false);
    EXPECT_TRUE(log.has(u"DAQInfo::recoverI2CSession refused: acquisition already started"_qs));
    info->setAcquisitionStarted(false);
    EXPECT_EQ(unit.count("ResetDevice"), 1U);

    unit.setDevices({Dev1Other});
    std::optional<bool> recovered;
    info->recoverI2CSession([&](bool isRecovered) { recovered = isRecovered; });
    EXPECT_EQ(answerOf<bool>([&](auto done) { info->recoverI2CSession(done); }), false) << "one at a time";
    stepUntil([&] { return recovered.has_value(); });
    EXPECT_EQ(recovered, false);
    EXPECT_TRUE(log.has(u"DAQInfo::recoverI2CSession: device Dev1 did not re-enumerate within 10000"_qs));
    EXPECT_EQ(unit.count("ResetDevice"), 1U) << "the other unit is left alone";
}

TEST_F(DAQInfoTest, UnitThatLeavesDuringTheRebuildEndsTheRecovery)
{
    ASSERT_TRUE(select(u"Dev1"_qs));
    unit.forgetCalls();
    // The wait's look: list and serial number. Then the tasks are closed with two calls each, and the look
    // after that fails.
    unit.failCall(2 + 2 * TasksWithoutUnits);
    EXPECT_EQ(answerOf<bool>([&](auto done) { info->recoverI2CSession(done); }), false);
    EXPECT_TRUE(
        log.has(u"DAQInfo::recoverI2CSession: device went unready after deinitI2C; aborting recovery"_qs));
    EXPECT_EQ(unit.openTasks(), 0);
}

TEST_F(DAQInfoTest, AnswersToAnOlderSelectionAreDropped)
{
    ASSERT_TRUE(select(u"Dev1"_qs));
    bool isOldAnswered = false;
    info->probeI2C([&](bool) { isOldAnswered = true; });
    info->getMCUHeader([&](const std::optional<MCUHeader>&) { isOldAnswered = true; });
    info->waitForDeviceReady(5000, [&](bool) { isOldAnswered = true; });
    QSignalSpy ended(info.get(), &DAQInfo::waitingEnded);
    EXPECT_TRUE(select(u"Dev2"_qs));
    settle();
    EXPECT_FALSE(isOldAnswered);
    EXPECT_EQ(ended.count(), 1);
    EXPECT_EQ(time.activeTimers(), 1) << "that of the status poll";
}

TEST_F(DAQInfoTest, HangingDriverHoldsUpNobodyButItself)
{
    ASSERT_TRUE(select(u"Dev1"_qs));
    unit.hangFunction("ReadDigitalU32");
    std::optional<bool> answered;
    info->probeI2C([&](bool hasAnswered) { answered = hasAnswered; });
    ASSERT_TRUE(unit.waitForHang());
    std::optional<bool> present;
    info->isDevicePresent([&](bool isPresent) { present = isPresent; });
    EXPECT_EQ(answerOf<bool>([&](auto done) { info->isDevicePresent(done); }), false)
        << "the last look is still owed";
    EXPECT_FALSE(present.has_value());
    EXPECT_FALSE(answered.has_value());
    unit.release();
    settle();
    EXPECT_EQ(answered, true) << "late, but it comes";
    EXPECT_EQ(present, true);
}

TEST_F(DAQInfoTest, SearchHoldsNobodyUpAndTheLatestChoiceCounts)
{
    QSignalSpy refreshed(info.get(), &DAQInfo::deviceListRefreshed);
    unit.hangFunction("GetSysDevNames");
    info->refreshDAQList();
    ASSERT_TRUE(unit.waitForHang());
    bool isFirstAnswered = false;
    info->selectDevice(u"Dev1"_qs, [&](bool) { isFirstAnswered = true; });
    std::optional<bool> isSecondUsable;
    info->selectDevice(u"Dev2"_qs, [&](bool isUsable) { isSecondUsable = isUsable; });
    info->refreshDAQList();
    EXPECT_TRUE(info->isRefreshing());
    EXPECT_TRUE(info->devices().empty());
    EXPECT_FALSE(info->selectedDevice().has_value());
    unit.setDevices({Dev2}); // seen by the second look at least, which is the first that counts
    unit.release();
    QEventLoop loop;
    QObject::connect(info.get(), &DAQInfo::deviceListRefreshed, &loop, &QEventLoop::quit);
    loop.exec();
    settle();
    EXPECT_EQ(isSecondUsable, true);
    EXPECT_EQ(info->selectedDevice()->name, u"Dev2"_qs);
    EXPECT_FALSE(isFirstAnswered);
    EXPECT_EQ(unit.count("ResetDevice"), 1U);
    EXPECT_EQ(unit.count("GetSysDevNames"), 2U) << "three calls that came during one look ask for one more";
    EXPECT_FALSE(info->isRefreshing());
    EXPECT_EQ(refreshed.count(), 1);
}

TEST_F(DAQInfoTest, OfADriverThatHangsTheLastListCounts)
{
    refresh();
    QSignalSpy refreshed(info.get(), &DAQInfo::deviceListRefreshed);
    unit.setDevices({Dev1, Dev2, {"Dev3", "USB-6218", 8, false, 16}});
    unit.hangFunction("GetSysDevNames");
    std::optional<bool> isUsable;
    info->selectDevice(u"Dev1"_qs, [&](bool usable) { isUsable = usable; });
    ASSERT_TRUE(unit.waitForHang());
    time.advance(4999);
    EXPECT_FALSE(info->selectedDevice().has_value());
    time.advance(1);
    EXPECT_EQ(refreshed.count(), 1);
    EXPECT_FALSE(info->isRefreshing());
    EXPECT_TRUE(log.has(u"DAQInfo::refreshDAQList: the driver does not answer yet"_qs));
    EXPECT_EQ(info->selectedDevice()->serial, u"42"_qs);
    EXPECT_EQ(info->devices().size(), 2U);
    EXPECT_FALSE(isUsable.has_value());
    unit.release();
    settle();
    EXPECT_EQ(isUsable, true);
    EXPECT_EQ(info->devices().size(), 3U) << "late, but it comes";
    EXPECT_EQ(refreshed.count(), 1);
}

} // namespace vt::test
