// SPDX-License-Identifier: GPL-3.0-or-later
// Recordings from the serial amplifier: the simulated one over a real pseudo-terminal, on stepped time.
#include "LogCapture.h"
#include "SessionHarness.h"

#include "acquisition/AcquisitionFrame.h"
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
#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

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
        return {Name, amplifier.portName(), u"Serial amplifier"_s, {}, true};
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
    std::optional<DeviceDetails> selected;
    std::unique_ptr<SessionController> session;
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
    EXPECT_EQ(user.lastText(u"DAQ Communication Failed"_s),
              u"Device identified as \"Strivix SA2-0418\" instead of \"Strivix SA2-0417\""_s);
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
    EXPECT_TRUE(selected->refusal.startsWith(u"Failed to open port: "_s)) << qPrintable(selected->refusal);
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
    other.release();
    EXPECT_TRUE(select());

    const QString path = QFileInfo(amplifier.portName()).canonicalFilePath();
    ASSERT_TRUE(path.startsWith(u"/dev/"_s));
    const AmplifierPort byPath{u"strivix:a"_s, path, {}, {}, false};
    const AmplifierPort byName{u"strivix:b"_s, path.mid(5), {}, {}, false};
    EXPECT_EQ(StrivixRecordingDevice::claimName(byName), u"strivix:"_s + path);
    EXPECT_EQ(StrivixRecordingDevice::claimName(byPath), u"strivix:"_s + path);
    qputenv("XDG_RUNTIME_DIR", runtimeBefore);
    qputenv("TMPDIR", temporaryBefore);
}
