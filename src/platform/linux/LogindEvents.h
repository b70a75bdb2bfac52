// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "platform/PowerEvents.h"
#include "platform/linux/LogindInhibitor.h"

#include <memory>

namespace vt {

class TimeSource;
class Timer;

/// PowerEvents by logind on a given bus.
///
///     Quiet --PrepareFor...(true)--> Pending --readyForSystemEvent, or logind's time nearly over--> Released
///       ^------ PrepareFor...(false), a new logind: Pending and Released --------------------------'
///
/// The delay inhibitor is held in Quiet and Pending; taken again on the way back to Quiet.
class LogindEvents final : public PowerEvents
{
    Q_OBJECT
public:
    /// time outlives the object.
    LogindEvents(const QDBusConnection& bus, TimeSource& time);
    ~LogindEvents() override;

    void setAcquiring(bool acquiring) override;
    void readyForSystemEvent() override;

private:
    enum class Phase { Quiet, Pending, Released };
    Q_SLOT void prepareForShutdown(bool starting);
    Q_SLOT void prepareForSleep(bool starting);
    void subscribe();
    void followLogind();
    void readDelay();
    void becomePending();
    void letGo();
    void becomeQuiet();
    void reportDelay(const QDBusError& error);
    void reportBlock(const QDBusError& error);
    void complain(const QString& what);

    QDBusConnection m_bus;
    QDBusServiceWatcher m_service;
    LogindInhibitor m_delay;
    LogindInhibitor m_block;
    std::unique_ptr<Timer> m_deadline;
    int m_delayMs = 5000; ///< how long logind waits for a delay inhibitor; its default until it has answered
    Phase m_phase = Phase::Quiet;
    bool m_acquiring = false;
    bool m_warned = false;
};

} // namespace vt
