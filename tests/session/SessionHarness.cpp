// SPDX-License-Identifier: GPL-3.0-or-later
#include "SessionHarness.h"

#include "acquisition/AcquisitionFrame.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTest>
#include <algorithm>
#include <thread>

namespace vt::test {

namespace {

SimulatedUnit::Config unitConfig(const SessionHarness::Options& options, const TimeSource& time)
{
    SimulatedUnit::Config config;
    config.deviceName = QStringLiteral("Dev1");
    config.channels = options.channels;
    config.animalType = options.animalType;
    config.clock = SimulatedUnit::Clock::Manual;
    if (options.devicesOnFakeTime)
        config.clockUs = [&time] { return time.monotonicUs(); };
    return config;
}

constexpr int frameUs = 1000000 / FramesPerSecond;

} // namespace

void RecordingUser::notify(Severity severity, const QString& title, const QString& text)
{
    messages.push_back({severity, title, text});
}

void RecordingUser::ask(const Question& question, std::function<void(int)> answered)
{
    questions.push_back(question);
    if (beforeAnswer)
        beforeAnswer();
    answered(answer);
}

void RecordingUser::showNotice(const QString& id, const QString& title, const QString& text,
                               const QString& buttonText, std::function<void()> pressed)
{
    notices[id] = {title, text, buttonText, std::move(pressed)};
    shown << id;
}

void RecordingUser::closeNotice(const QString& id)
{
    notices.erase(id);
}

void RecordingUser::setRecordingIndicator(const QString& text)
{
    indicator = text;
}

void RecordingUser::fatalError(const QString& title, const QString& text)
{
    fatal.push_back({Severity::Critical, title, text});
}

QString RecordingUser::lastText(const QString& title) const
{
    const auto found = std::find_if(messages.rbegin(), messages.rend(),
                                    [&](const Message& message) { return message.title == title; });
    return found == messages.rend() ? QString() : found->text;
}

SessionHarness::SessionHarness(const Options& options) : unit(unitConfig(options, time))
{
    SessionController::Options sessionOptions;
    sessionOptions.autoResume = options.autoResume;
    sessionOptions.claim = options.claim;
    sessionOptions.lidQuery = options.lidQuery;
    if (options.showLidWarning) {
        sessionOptions.showLidWarning = [setting = options.showLidWarning] { return *setting; };
        sessionOptions.hideLidWarning = [setting = options.showLidWarning] { *setting = false; };
    }
    session = std::make_unique<SessionController>(unit, time, user, sessionOptions);
}

SessionHarness::~SessionHarness() = default;

bool SessionHarness::waitUntil(const std::function<bool()>& condition)
{
    // Most conditions come true within microseconds, on another thread.
    for (int turn = 0; turn < 500; ++turn) {
        settle();
        if (condition())
            return true;
        std::this_thread::yield();
    }
    return QTest::qWaitFor(condition, 20000);
}

bool SessionHarness::passUntil(const std::function<bool()>& condition, int stepMs)
{
    QDeadlineTimer deadline(30000);
    while (!deadline.hasExpired()) {
        settle();
        if (condition())
            return true;
        QTest::qWait(1); // the other threads' share of real time per step of fake time
        time.advance(stepMs);
    }
    return false;
}

void SessionHarness::settle()
{
    QCoreApplication::sendPostedEvents();
}

bool SessionHarness::refresh()
{
    session->refreshDevices();
    return waitUntil([this] { return !session->isRefreshingDevices(); });
}

bool SessionHarness::select()
{
    bool selected = false;
    const auto connection = QObject::connect(session.get(), &SessionController::deviceSelected,
                                             [&selected](const DeviceDetails&) { selected = true; });
    session->refreshDevices();
    session->selectDevice(QStringLiteral("Dev1"));
    const bool done = waitUntil([&selected] { return selected; });
    QObject::disconnect(connection);
    return done && session->status().device.usable;
}

RecordingSetup SessionHarness::setup(const QString& name) const
{
    RecordingSetup wanted;
    wanted.basePath = path(name);
    wanted.channelCount = session->status().device.offeredChannels;
    return wanted;
}

bool SessionHarness::beginRecording()
{
    if (!select())
        return false;
    session->record(setup());
    return waitUntil([this] { return session->state() == SessionState::Recording; }) && waitForDevice();
}

bool SessionHarness::waitForDevice()
{
    // The set-up runs on the device's own thread: the first block that goes in says that it is done.
    return waitUntil([this] { return deliver(1) == 1; });
}

int SessionHarness::deliver(int frames)
{
    int delivered = 0;
    for (int i = 0; i < frames; ++i) {
        while (!session->readyForMoreData())
            std::this_thread::yield();
        if (unit.advanceFrames(1) != 1)
            return delivered;
        ++delivered;
        m_timeDebtUs += frameUs;
        time.advance(m_timeDebtUs / 1000);
        m_timeDebtUs %= 1000;
        settle();
    }
    return delivered;
}

void SessionHarness::passTime(int milliseconds)
{
    for (int passed = 0; passed < milliseconds; passed += 100) {
        time.advance(100);
        settle();
    }
}

bool SessionHarness::stopAndWaitIdle()
{
    session->stop(EndReason::UserStop);
    return waitUntil([this] { return session->state() == SessionState::Idle; });
}

} // namespace vt::test
