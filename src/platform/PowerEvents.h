// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <memory>

namespace vt {

/// Tells when the computer is about to go down or to sleep, and while a recording runs keeps it from being
/// shut down without the user's insistence. On Windows (WinPowerEvents) by window messages and a shutdown
/// block reason; on Linux by logind's signals, a delay inhibitor held all the time, and a "shutdown" block
/// inhibitor while a recording runs. A service that is missing costs one warning and no event. Interface
/// thread.
class PowerEvents : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
    /// The system's own. Never null.
    [[nodiscard]] static std::unique_ptr<PowerEvents> create();

    /// Acquisition is in progress: a polite shutdown request is answered with "not yet".
    virtual void setAcquiring(bool acquiring) = 0;
    /// Nothing is left to save: a system event that waits for the answer to shutdownConfirmed or suspending
    /// may go on. Called at any other time it does nothing.
    virtual void readyForSystemEvent() = 0;

signals:
    /// The computer goes down, or to sleep or hibernation. With answerWithinMs > 0 the system goes on as soon
    /// as the receiver returns, and kills or freezes the program when that takes longer; with 0 the receiver
    /// returns at once and calls readyForSystemEvent() when the recording is closed.
    void shutdownConfirmed(int answerWithinMs);
    void suspending(int answerWithinMs);
    void resumed();
};

} // namespace vt
