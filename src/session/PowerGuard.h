// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "platform/PowerEvents.h"

#include <QDateTime>
#include <QObject>
#include <functional>
#include <memory>

namespace vt {

class SessionController;
class TimeSource;
class UserInteraction;

/// Protects recordings from the computer's power management: keeps it awake and holds up a shutdown from the
/// start of a recording to its end, pauses included and until its films are closed, and ends the recording in
/// good order when the computer goes down or to sleep all the same. Interface thread. The controller, the
/// time and the user outlive it.
class PowerGuard : public QObject
{
    Q_OBJECT
public:
    struct Services
    {
        std::unique_ptr<PowerEvents> events;
        std::function<void(bool hold)> keepAwake; ///< takes or gives back the keep-awake request
    };
    PowerGuard(SessionController& controller, TimeSource& time, UserInteraction& user, Services services,
               QObject* parent = nullptr);
    ~PowerGuard() override;
    /// The system's own services.
    [[nodiscard]] static Services systemServices();

private:
    enum class Event { Shutdown, Suspend };
    void handleState();
    void protect(bool wanted);
    /// When the films are closed, too: with answerWithinMs > 0 after waiting for them here.
    void letSystemGo(int answerWithinMs);
    void handleSuspending(int answerWithinMs);
    void handleShutdown(int answerWithinMs);
    void endRecording(Event event, int answerWithinMs);
    void tellUser();

    SessionController& m_controller;
    TimeSource& m_time;
    UserInteraction& m_user;
    Services m_services;
    bool m_protecting = false;
    bool m_eventWaits = false; ///< a system event waits for the end of the recording
    Event m_event = Event::Shutdown;
    QDateTime m_eventTime;
};

} // namespace vt
