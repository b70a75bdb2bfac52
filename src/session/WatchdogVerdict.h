// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QtGlobal>

namespace vt {

inline constexpr int WatchdogIntervalMs = 5000;
inline constexpr int ReconnectPollIntervalMs = 2000;

/// What the device watchdog does when its timer fires.
///
///     armed --data--> armed (due 5 s after the newest block)
///     armed --due, nothing since--> TimedOut
///
/// The driver's thread only stores the time of the newest block; instead of restarting a timer 30 times a
/// second the timer, when it fires, looks at that time and sleeps for the rest.
struct WatchdogVerdict
{
    bool timedOut = false;
    int sleepMs = WatchdogIntervalMs; ///< when not timed out: fire again after this
};

/// startedMs: when the watchdog was armed; lastDataMs: newest block, -1 for none yet; nowMs: all monotonic.
[[nodiscard]] constexpr WatchdogVerdict watchdogVerdict(qint64 startedMs, qint64 lastDataMs, qint64 nowMs)
{
    const qint64 alive = lastDataMs > startedMs ? lastDataMs : startedMs;
    const qint64 quietMs = nowMs - alive;
    if (quietMs >= WatchdogIntervalMs)
        return {true, 0};
    return {false, static_cast<int>(WatchdogIntervalMs - (quietMs > 0 ? quietMs : 0))};
}

} // namespace vt
