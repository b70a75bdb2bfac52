// SPDX-License-Identifier: GPL-3.0-or-later
// Recordings from the serial amplifier: the simulated one over a real pseudo-terminal, on stepped time.
#include "LogCapture.h"
#include "SessionHarness.h"

#include "acquisition/AcquisitionFrame.h"
#include "daqmx/NeverDestroyed.h"
#include "platform/DaqClaim.h"
#include "processing/FilterTables.h"
#include "recording/RawFileReader.h"
#include "recording/SegmentPaths.h"
#include "session/StrivixRecordingDevice.h"
#include "simulation/AnimalModel.h"
#include "simulation/SimulatedAmplifier.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>
#include <QThread>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <gtest/gtest.h>
#include <thread>

using namespace vt;
using namespace vt::test;
using namespace Qt::StringLiterals;

namespace {

const auto Name = u"strivix:test"_s;
const auto Identity = u"Strivix SA2-0417"_s;

class AmplifierSession : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!SimulatedAmplifier::isAvailable())
            FAIL() << "no pseudo-terminals";
    }

    void makeSession(bool autoResume, DaqClaim* claim = nullptr)
    {
        SessionController::Options options;
        options.autoResume = autoResume;
        options.claim = claim;
        options.amplifierPorts = [this] { return std::vector<AmplifierPort>{port()}; };
        session = std::make_unique<SessionController>(unit, time, user, options);
        QObject::connect(session.get(), &SessionController::deviceSelected,
                         [this](const DeviceDetails& details) { selected = details; });
    }
    [[nodiscard]] AmplifierPort port() const
    {
        return {
            portName, movedPath.isEmpty() ? amplifier.portName() : movedPath, {}, usbSerial, true, usbVendor,
            0x0042};
    }

    /// Lets time pass until the condition holds, no faster than the session keeps up with the signal.
    [[nodiscard]] bool pass(const std::function<bool()>& condition)
    {
        const QDeadlineTimer deadline(60000);
        while (!deadline.hasExpired()) {
            SessionHarness::settle();
            if (condition())
                return true;
            if (session->readyForMoreData())
                time.advance(10);
            QTest::qWait(1); // the device's thread answers in real time
        }
        return false;
    }
    [[nodiscard]] bool passTo(SessionState state)
    {
        return pass([this, state] { return session->state() == state; });
    }
    [[nodiscard]] bool select()
    {
        selected.reset();
        session->refreshDevices();
        session->selectDevice(Name);
        return pass([this] { return selected.has_value(); }) && selected->usable;
    }
    [[nodiscard]] RecordingSetup setup(int animalType) const
    {
        RecordingSetup wanted;
        wanted.basePath = base();
        wanted.channelCount = 2;
        wanted.animalType = animalType;
        return wanted;
    }
    [[nodiscard]] bool beginRecording(int animalType)
    {
        if (!select())
            return false;
        session->record(setup(animalType));
        return pass([this] { return session->status().framesProcessed > 60; });
    }
    [[nodiscard]] QString base() const { return folder.filePath(u"run"_s); }

    QTemporaryDir folder;
    FakeTimeSource time;
    SimulatedUnit unit{[] {
        SimulatedUnit::Config config;
        config.clock = SimulatedUnit::Clock::Manual;
        return config;
    }()};
    RecordingUser user;
    SimulatedAmplifier amplifier{time, {.animalType = AnimalRat, .identity = Identity}};
    quint16 usbVendor = 0x1209;
    QString usbSerial;
    QString portName = Name;
    QString movedPath; ///< empty: the amplifier's own
    std::optional<DeviceDetails> selected;
    std::unique_ptr<SessionController> session;
};

/// Time in which other threads than the test's wait for their timers as long as it is held.
class HangingPorts final : public TimeSource
{
public:
    [[nodiscard]] QDateTime now() const override { return time.now(); }
    [[nodiscard]] qint64 monotonicMs() const override { return time.monotonicMs(); }
    [[nodiscard]] qint64 monotonicUs() const override { return time.monotonicUs(); }
    [[nodiscard]] std::unique_ptr<Timer> createTimer(QObject* context,
                                                     std::function<void()> onTimeout) override
    {
        isWaiting = QThread::currentThread() != m_thread;
        while (isHeld && isWaiting)
            std::this_thread::yield();
        return time.createTimer(context, std::move(onTimeout));
    }

    FakeTimeSource time;
    std::atomic<bool> isHeld{false};
    std::atomic<bool> isWaiting{false};

private:
    QThread* const m_thread = QThread::currentThread();
};

/// What the amplifier can say of a voltage: the nearest of steps steps of 3.3 V / steps, the lowest of which
/// is stepsBelow steps below zero.
double quantised(double volts, int steps, int stepsBelow)
{
    const double step = 3.3 / steps;
    return std::clamp(std::round(volts / step), -1.0 * stepsBelow, steps - 1.0 - stepsBelow) * step;
}

/// The first samples at 120 Hz of what an animal gives: y[n] = sum of h[k] x[5 n - k].
std::vector<double> expectedVolts(quint64 seed, int steps, int stepsBelow, std::size_t samples)
{
    std::vector<double> volts(5 * samples);
    AnimalModel(AnimalRat, seed).generate(volts.data(), volts.size());
    for (double& value : volts)
        value = quantised(value, steps, stepsBelow);
    const auto& taps = DecimatorTaps;
    std::vector<double> decimated(samples, 0.0);
    for (std::size_t n = 0; n < samples; ++n)
        for (std::size_t k = 0; k < std::min(taps.size(), 5 * n + 1); ++k)
            decimated[n] += taps[k] * volts[5 * n - k];
    return decimated;
}

FileHeader headerOf(const QString& base)
{
    RawFileReader raw;
    EXPECT_TRUE(raw.open(segmentPaths(base, AnimalRat).raw)) << qPrintable(raw.lastError());
    return raw.header();
}

} // namespace

TEST_F(AmplifierSession, TwoRatsAreRecordedSampleForSample)
{
    makeSession(false);
    ASSERT_EQ(session->devices().size(), 0U) << "before the first look";
    ASSERT_TRUE(select());
    EXPECT_EQ(selected->kind, DeviceKind::SerialAmplifier);
    EXPECT_EQ(selected->serial, u"SA2-0417"_s);
    EXPECT_EQ(selected->offeredChannels, 2);
    RecordingSetup limited = setup(AnimalRat);
    limited.frameLimit = 150;
    session->record(limited);
    ASSERT_TRUE(passTo(SessionState::Recording));
    EXPECT_EQ(session->addMarker(u"none"_s), -1);
    ASSERT_TRUE(passTo(SessionState::Idle));
    EXPECT_EQ(session->lastEndReason(), EndReason::DurationReached);

    RawFileReader raw;
    ASSERT_TRUE(raw.open(segmentPaths(base(), AnimalRat).raw));
    ASSERT_EQ(raw.frameCount(), 150 * 4);
    std::vector<std::int16_t> samples(2 * 600);
    ASSERT_EQ(raw.readFrames(0, samples), 600);
    const std::vector<double> first = expectedVolts(1, 2048, 1024, 600);
    const std::vector<double> second = expectedVolts(2, 1024, 511, 600);
    EXPECT_GT(*std::max_element(samples.begin(), samples.end()), 1000) << "no signal to compare";
    for (std::size_t i = 0; i < 600; ++i) {
        // One count of room: the sum above is in another order.
        ASSERT_NEAR(samples[2 * i], std::trunc(first[i] * 32768.0 / 3.3), 1.0) << i;
        ASSERT_NEAR(samples[2 * i + 1], std::trunc(second[i] * 32768.0 / 3.3), 1.0) << i;
    }
    EXPECT_FALSE(QFile::exists(segmentPaths(base(), AnimalRat).markers));
}

TEST_F(AmplifierSession, GoesOnWithTheSameAmplifierOnly)
{
    LogCapture log;
    makeSession(true);
    ASSERT_TRUE(beginRecording(AnimalRat));
    const qint64 unpluggedMs = time.monotonicMs();
    amplifier.disappear();
    ASSERT_TRUE(pass([this] { return user.notices.contains(u"paused"_s); }));
    EXPECT_TRUE(log.has(u"Device disconnected: "_s + amplifier.portName()));

    amplifier.setIdentity(u"Strivix SA2-0418"_s);
    ASSERT_TRUE(amplifier.comeBack());
    const QString notBack = u"attemptResume: Strivix %1 not back yet"_s.arg(amplifier.portName());
    ASSERT_TRUE(pass([&] { return log.has(notBack) && session->state() == SessionState::Paused; }));
    EXPECT_TRUE(log.hasPart(u"is \"Strivix SA2-0418\" instead of \"Strivix SA2-0417\""_s));
    EXPECT_FALSE(QFile::exists(segmentPaths(base() + u" (1)"_s, AnimalRat).raw));

    amplifier.disappear();
    amplifier.setIdentity(Identity);
    ASSERT_TRUE(amplifier.comeBack());
    ASSERT_TRUE(passTo(SessionState::Recording));
    // What had arrived was handed on for up to 0.4 s more.
    const auto withoutDataS = static_cast<double>(time.monotonicMs() - unpluggedMs) / 1000.0;
    const auto gapS = QRegularExpression(u"Approximate gap: (\\d+) seconds"_s)
                          .match(user.notices[u"resumed"_s].text)
                          .captured(1)
                          .toDouble();
    EXPECT_GT(withoutDataS, 6.0);
    EXPECT_NEAR(gapS, withoutDataS - 0.5, 1.0);
    const quint64 before = session->status().framesProcessed;
    ASSERT_TRUE(pass([&] { return session->status().framesProcessed > before + 60; }));
    session->stop(EndReason::UserStop);
    ASSERT_TRUE(passTo(SessionState::Idle));
    const auto summed =
        QRegularExpression(u"\nWithout data: (\\d+) s in 1 pause\n"_s).match(session->lastSummary());
    ASSERT_TRUE(summed.hasMatch()) << qPrintable(session->lastSummary());
    EXPECT_NEAR(summed.captured(1).toDouble(), gapS + 0.5, 0.5);
    EXPECT_EQ(headerOf(base() + u" (1)"_s).deviceSerial, u"SA2-0417"_s);
    EXPECT_EQ(headerOf(base()).deviceDescription, Identity);
}

TEST_F(AmplifierSession, WhatTheSerialLineLosesIsTold)
{
    LogCapture log;
    makeSession(false);
    ASSERT_TRUE(beginRecording(AnimalRat));
    amplifier.corruptBytes(1);
    ASSERT_TRUE(pass([this] { return session->status().losses.bytesDamaged > 0; }));
    amplifier.stall(1500);
    ASSERT_TRUE(pass([this] { return session->status().losses.interruptions > 0; }));
    session->stop(EndReason::UserStop);
    ASSERT_TRUE(passTo(SessionState::Idle));
    // A packet without its beginning or its end is three bytes; of one with a second beginning, one is left.
    const LossSummary lost = session->status().losses;
    EXPECT_TRUE(lost.bytesDamaged == 3 || lost.bytesDamaged == 1) << lost.bytesDamaged;
    EXPECT_GE(lost.interruptions, 1U); // more when the machine is too slow for the stepped time
    EXPECT_TRUE(log.hasPart(
        u" bytes damaged, %1 interruptions of the stream, 0 samples dropped"_s.arg(lost.interruptions)));
    EXPECT_TRUE(session->lastSummary().contains(
        u"Lost: %1 bytes damaged on the serial line, %2 interruptions of the stream\n"_s
            .arg(lost.bytesDamaged)
            .arg(lost.interruptions)));
}

TEST_F(AmplifierSession, AnotherAmplifierAtTheStartIsToldAtOnce)
{
    makeSession(true);
    ASSERT_TRUE(select());
    session->prepare(setup(AnimalRat));
    ASSERT_TRUE(passTo(SessionState::Prepared));
    amplifier.setIdentity(u"Strivix SA2-0418"_s);
    session->start();
    ASSERT_TRUE(passTo(SessionState::Idle));
    EXPECT_EQ(session->lastEndReason(), EndReason::CouldNotStart);
    EXPECT_EQ(
        user.lastText(u"DAQ Communication Failed"_s),
        u"Serial port %1: Device identified as \"Strivix SA2-0418\" instead of \"Strivix SA2-0417\""_s.arg(
            amplifier.portName()));
    EXPECT_EQ(amplifier.received().count('?'), 3) << "when selected, prepared and started";
    ASSERT_TRUE(select()) << "chosen anew, it is the one to record from";
    EXPECT_EQ(selected->serial, u"SA2-0418"_s);
}

TEST_F(AmplifierSession, UnplugWithoutAutoResumeEndsTheRecording)
{
    makeSession(false);
    ASSERT_TRUE(beginRecording(AnimalRat));
    amplifier.disappear();
    ASSERT_TRUE(passTo(SessionState::Idle));
    EXPECT_EQ(session->lastEndReason(), EndReason::DeviceLost);
    EXPECT_FALSE(select());
    EXPECT_EQ(selected->refusal,
              u"Serial port %1: Failed to open port: No such file or directory"_s.arg(amplifier.portName()));
}

// What looks at every new port (modem managers do) is still there, or the amplifier wakes up.
TEST_F(AmplifierSession, IsAskedThreeTimesBeforeItIsGivenUp)
{
    using Identification = SimulatedAmplifier::Identification;
    makeSession(false);
    amplifier.setIdentification(Identification::None);
    EXPECT_FALSE(select());
    EXPECT_EQ(selected->refusal,
              u"Serial port %1: Device did not identify as Strivix"_s.arg(amplifier.portName()));
    EXPECT_EQ(amplifier.received().count('?'), 3);
    selected.reset();
    session->selectDevice(Name);
    ASSERT_TRUE(pass([this] { return amplifier.received().count('?') == 5; }));
    amplifier.setIdentification(Identification::Proper);
    ASSERT_TRUE(pass([this] { return selected.has_value(); }));
    EXPECT_TRUE(selected->usable) << qPrintable(selected->refusal);

    session->prepare(setup(AnimalRat));
    ASSERT_TRUE(passTo(SessionState::Prepared));
    amplifier.setIdentification(Identification::None);
    const auto asked = amplifier.received().count('?');
    session->start();
    ASSERT_TRUE(pass([&] { return amplifier.received().count('?') == asked + 2; }));
    amplifier.setIdentification(Identification::Proper);
    ASSERT_TRUE(pass([this] { return session->status().framesProcessed > 0; }));
    session->stop(EndReason::UserStop);
    ASSERT_TRUE(passTo(SessionState::Idle));
}

TEST_F(AmplifierSession, NothingIsSentToAnotherUsbDeviceAtThePort)
{
    LogCapture log;
    makeSession(true);
    ASSERT_TRUE(select());
    const quint16 vendor = usbVendor++;
    const QByteArray before = amplifier.received();
    session->prepare(setup(AnimalRat));
    ASSERT_TRUE(passTo(SessionState::Idle));
    usbVendor = vendor;
    session->prepare(setup(AnimalRat));
    ASSERT_TRUE(passTo(SessionState::Prepared));
    const QByteArray prepared = amplifier.received();
    EXPECT_EQ(prepared.size(), before.size() * 2);
    ++usbVendor;
    session->start();
    ASSERT_TRUE(passTo(SessionState::Idle));
    EXPECT_EQ(session->lastEndReason(), EndReason::CouldNotStart);
    EXPECT_EQ(amplifier.received(), prepared);

    usbVendor = vendor;
    session->record(setup(AnimalRat));
    ASSERT_TRUE(pass([this] { return session->status().framesProcessed > 0; }));
    amplifier.disappear();
    ASSERT_TRUE(passTo(SessionState::Paused));
    ++usbVendor;
    ASSERT_TRUE(amplifier.comeBack());
    const QByteArray paused = amplifier.received();
    const qint64 untilMs = time.monotonicMs() + 5000;
    ASSERT_TRUE(pass([&] { return time.monotonicMs() >= untilMs; }));
    EXPECT_EQ(amplifier.received(), paused);
    usbVendor = vendor;
    ASSERT_TRUE(passTo(SessionState::Recording));
    session->stop(EndReason::UserStop);
    ASSERT_TRUE(passTo(SessionState::Idle));
}

TEST_F(AmplifierSession, GoesOnAtAnotherPortWithTheSameUsbDevice)
{
    LogCapture log;
    usbSerial = u"A1"_s;
    makeSession(true);
    ASSERT_TRUE(beginRecording(AnimalRat));
    amplifier.disappear();
    ASSERT_TRUE(passTo(SessionState::Paused));
    ASSERT_TRUE(amplifier.comeBack());
    portName = u"strivix:other"_s;
    movedPath = folder.filePath(u"other"_s);
    ASSERT_TRUE(QFile::link(amplifier.portName(), movedPath));
    ASSERT_TRUE(passTo(SessionState::Recording));
    const quint64 before = session->status().framesProcessed;
    ASSERT_TRUE(pass([&] { return session->status().framesProcessed > before; }));
    EXPECT_TRUE(log.has(u"StrivixRecordingDevice: the USB device of %1 is at %2 now, it was at %3"_s.arg(
        Identity, movedPath, amplifier.portName())));
    EXPECT_TRUE(log.has(u"StrivixDevice: Connected to %1 on %2"_s.arg(movedPath, Identity)));
    session->stop(EndReason::UserStop);
    ASSERT_TRUE(passTo(SessionState::Idle));
}

TEST(PresentPort, IsTheOnlyOneWithTheUsbDeviceWhenTheNameHasItNoMore)
{
    const AmplifierPort chosen{u"strivix:a"_s, u"a"_s, {}, u"A1"_s, false, 1, 2};
    AmplifierPort moved = chosen;
    moved.name = u"strivix:b"_s;
    AmplifierPort twin = chosen;
    twin.name = u"strivix:c"_s;
    AmplifierPort other = chosen; // another device under the old name
    other.serial = u"A2"_s;
    const auto nameFor = [](const AmplifierPort& wanted, const std::vector<AmplifierPort>& listed) {
        const AmplifierPort* port = presentPort(wanted, listed);
        return port ? port->name : QString();
    };
    EXPECT_EQ(nameFor(chosen, {moved, chosen}), chosen.name);
    EXPECT_EQ(nameFor(chosen, {other, moved}), moved.name);
    EXPECT_EQ(nameFor(chosen, {other, moved, twin}), QString());
    AmplifierPort nameless = chosen;
    nameless.serial.clear();
    moved.serial.clear();
    EXPECT_EQ(nameFor(nameless, {moved}), QString());
    EXPECT_EQ(nameFor(nameless, {nameless, moved}), nameless.name);
}

// The system does not return from the port: the user is told, and the interface thread does not wait.
TEST_F(AmplifierSession, APortThatHangsIsGivenUp)
{
    LogCapture log;
    static NeverDestroyed<HangingPorts> kept; // used by a thread that is left to itself, to the very end
    HangingPorts& hanging = kept.get();
    hanging.isHeld = true;
    StrivixRecordingDevice device(hanging, [this] { return std::vector{port()}; }, {});
    std::optional<RecordingDevice::Reading> told;
    device.select(Name, [&](const RecordingDevice::Reading& reading) { told = reading; });
    ASSERT_TRUE(SessionHarness::waitUntil([&hanging] { return hanging.isWaiting.load(); }));
    hanging.time.advance(StrivixRecordingDevice::AnswerWaitMs - 1);
    SessionHarness::settle();
    EXPECT_FALSE(told);
    hanging.time.advance(1);
    ASSERT_TRUE(told);
    EXPECT_EQ(
        told->details.refusal,
        u"Serial port %1: The system does not answer when the port is used."_s.arg(amplifier.portName()));
    EXPECT_TRUE(log.contains("StrivixProbe: the port does not return, thread abandoned"));
    hanging.isHeld = false;
    ASSERT_TRUE(SessionHarness::waitUntil([this] { return !amplifier.received().isEmpty(); }))
        << "it did return";
}

TEST_F(AmplifierSession, APortOfAnotherInstanceIsLeftAlone)
{
    QTemporaryDir claims;
    const QByteArray runtimeBefore = qgetenv("XDG_RUNTIME_DIR");
    const QByteArray temporaryBefore = qgetenv("TMPDIR");
    qputenv("XDG_RUNTIME_DIR", claims.path().toLocal8Bit());
    qputenv("TMPDIR", claims.path().toLocal8Bit());
    DaqClaim other;
    ASSERT_TRUE(other.tryClaim(StrivixRecordingDevice::claimName(port())));
    DaqClaim mine;
    makeSession(false, &mine);
    EXPECT_FALSE(select());
    EXPECT_TRUE(selected->refusal.contains(u"in use by another Vellumtide instance"_s));
    ASSERT_EQ(session->devices().back().name, Name);
    EXPECT_TRUE(session->devices().back().inUse);
    EXPECT_TRUE(amplifier.received().isEmpty());
    // The same amplifier at another port: it was found there by an instance that waits for it here.
    ASSERT_TRUE(other.tryClaim(StrivixRecordingDevice::claimName(u"SA2-0417"_s)));
    EXPECT_FALSE(select());
    EXPECT_TRUE(selected->refusal.startsWith(u"Strivix SA2-0417 is in use by another Vellumtide instance"_s));
    EXPECT_EQ(mine.serial(), QString()) << "whoever has the amplifier may have the port";
    other.release();
    EXPECT_TRUE(select());
    EXPECT_TRUE(other.otherHolder(StrivixRecordingDevice::claimName(u"SA2-0417"_s)));
    session->selectDevice({});
    EXPECT_FALSE(other.otherHolder(StrivixRecordingDevice::claimName(u"SA2-0417"_s)));

    const QString path = QFileInfo(amplifier.portName()).canonicalFilePath();
    ASSERT_TRUE(path.startsWith(u"/dev/"_s));
    const AmplifierPort byPath{u"strivix:a"_s, path, {}, {}, false};
    const AmplifierPort byName{u"strivix:b"_s, path.mid(5), {}, {}, false};
    EXPECT_EQ(StrivixRecordingDevice::claimName(byName), u"strivix:"_s + path);
    EXPECT_EQ(StrivixRecordingDevice::claimName(byPath), u"strivix:"_s + path);
    const AmplifierPort onWindows{u"strivix:c"_s, u"\\\\.\\com3"_s, {}, {}, false};
    EXPECT_EQ(StrivixRecordingDevice::claimName(onWindows), u"strivix:COM3"_s);
    qputenv("XDG_RUNTIME_DIR", runtimeBefore);
    qputenv("TMPDIR", temporaryBefore);
}
