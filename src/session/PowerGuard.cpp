// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/PowerGuard.h"

#include "base/TimeSource.h"
#include "platform/PowerRequest.h"
#include "session/SessionController.h"
#include "session/SessionTexts.h"
#include "session/UserInteraction.h"

#include <QDebug>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

bool isProtected(SessionState state)
{
    switch (state) {
    case SessionState::Idle:
    case SessionState::Preparing:
    case SessionState::Prepared:
        return false;
    case SessionState::Starting:
    case SessionState::Recording:
    case SessionState::Paused:
    case SessionState::Resuming:
    case SessionState::Stopping:
        break;
    }
    return true;
}

} // namespace

PowerGuard::Services PowerGuard::systemServices()
{
    auto request = std::make_shared<PowerRequest>();
    return {PowerEvents::create(), [request](bool hold) {
                if (hold)
                    request->acquire();
                else
                    request->release();
            }};
}

PowerGuard::PowerGuard(SessionController& controller, TimeSource& time, UserInteraction& user,
                       Services services, QObject* parent)
    : QObject(parent), m_controller(controller), m_time(time), m_user(user), m_services(std::move(services))
{
    connect(&controller, &SessionController::stateChanged, this, &PowerGuard::handleState);
    PowerEvents* events = m_services.events.get();
    connect(events, &PowerEvents::suspending, this, &PowerGuard::handleSuspending);
    connect(events, &PowerEvents::shutdownConfirmed, this, &PowerGuard::handleShutdown);
}

PowerGuard::~PowerGuard() = default;

void PowerGuard::handleState()
{
    const SessionState state = m_controller.state();
    if (isProtected(state))
        protect(true);
    else // films may be closed later than the recording
        m_controller.whenClosed(this, [this] { protect(isProtected(m_controller.state())); });
    if (state == SessionState::Idle && m_eventWaits) {
        m_eventWaits = false;
        tellUser();
        // After the last of the stop's own steps.
        QMetaObject::invokeMethod(
            this, [this] { letSystemGo(0); }, Qt::QueuedConnection);
    }
}

void PowerGuard::protect(bool wanted)
{
    if (wanted == m_protecting)
        return;
    m_protecting = wanted;
    m_services.keepAwake(wanted);
    m_services.events->setAcquiring(wanted);
}

void PowerGuard::letSystemGo(int answerWithinMs)
{
    if (answerWithinMs > 0 && !m_controller.waitUntilClosed(answerWithinMs))
        qCritical("Films could not be closed within %d ms", answerWithinMs);
    m_controller.whenClosed(this, [this] { m_services.events->readyForSystemEvent(); });
}

void PowerGuard::handleSuspending(int answerWithinMs)
{
    if (m_controller.state() == SessionState::Idle) {
        qInfo("System suspending while not recording — leaving app open.");
        m_controller.abandonStart();
        letSystemGo(answerWithinMs);
        return;
    }
    qWarning("System suspending during active recording — forcing graceful stop.");
    endRecording(Event::Suspend, answerWithinMs);
}

void PowerGuard::handleShutdown(int answerWithinMs)
{
    if (m_controller.state() == SessionState::Idle) {
        m_controller.abandonStart();
        letSystemGo(answerWithinMs);
        return;
    }
    endRecording(Event::Shutdown, answerWithinMs);
}

void PowerGuard::endRecording(Event event, int answerWithinMs)
{
    m_event = event;
    m_eventTime = m_time.now();
    m_eventWaits = true;
    m_controller.forcedGracefulStop(answerWithinMs);
}

void PowerGuard::tellUser()
{
    if (m_controller.lastEndReason() != EndReason::ForcedStop || m_controller.lastSummary().isEmpty())
        return; // it ended for another reason, or had not begun
    const QString reason = m_event == Event::Suspend ? tr("the computer was going to sleep")
                                                     : tr("the computer was shutting down");
    const QString files = m_controller.status().losses.any()
                              ? tr("Something is missing from its files; the summary says what.")
                              : tr("Its files are closed.");
    m_user.showNotice(u"forcedStop"_s, tr("Recording Stopped"),
                      tr("The recording was stopped at %1 because %2. %3")
                          .arg(m_eventTime.toString(messageTimeFormat()), reason, files),
                      tr("OK"), [] {});
}

} // namespace vt
