// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <functional>
#include <memory>

namespace vt {

class Inbox;
class StrivixThread;
class TimeSource;

/// Either an identity ("Strivix ...") or why there is none.
struct StrivixProbeResult
{
    QString identity;
    QString error;
};

/// Asks who is at a serial port, on a thread of its own, and closes the port again. One try takes about half
/// a second with a serial amplifier there, one second with a silent device, 2 s with one that never falls
/// silent, and 4.5 s at most (LongestTryMs) as long as the system does not hold the port up.
class StrivixProbe
{
public:
    using Done = std::function<void(const StrivixProbeResult&)>;

    /// 2 s until the line must be quiet, 2 s until the reply must have ended, and the writing of commands.
    static constexpr int LongestTryMs = 4500;

    /// Starts at once; asks again after a failure, tries times in all (StrivixDevice::setTries). done is
    /// called once, where answers lives, unless the probe has been destroyed or the inbox is gone by then.
    /// time outlives the object.
    StrivixProbe(TimeSource& time, const QString& portName, const Inbox& answers, Done done, int tries = 1);
    /// Gives the probe up if it is still under way; waits for the port to be closed, 1 s at most.
    ~StrivixProbe();
    /// Gives it up without waiting: a port that the system holds up is left to its thread. Not within done.
    void abandon();
    StrivixProbe(const StrivixProbe&) = delete;
    StrivixProbe& operator=(const StrivixProbe&) = delete;

private:
    struct Shared;
    struct Wanted
    {};
    void finish(int waitMs);

    std::shared_ptr<Shared> m_shared; ///< empty after finish()
    std::shared_ptr<Wanted> m_wanted; ///< exists as long as the answer is wanted
};

} // namespace vt
