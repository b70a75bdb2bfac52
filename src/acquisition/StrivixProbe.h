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

/// Asks once who is at a serial port, on a thread of its own, and closes the port again. Takes about half a
/// second with a serial amplifier there, one second with a silent device, 2 s with one that never falls
/// silent.
class StrivixProbe
{
public:
    using Done = std::function<void(const StrivixProbeResult&)>;

    /// Starts at once. done is called once, where answers lives, unless the probe has been destroyed or the
    /// inbox is gone by then. time outlives the object.
    StrivixProbe(TimeSource& time, const QString& portName, const Inbox& answers, Done done);
    /// Gives the probe up if it is still under way; waits for the port to be closed, 1 s at most.
    ~StrivixProbe();
    StrivixProbe(const StrivixProbe&) = delete;
    StrivixProbe& operator=(const StrivixProbe&) = delete;

private:
    struct Shared;
    struct Wanted
    {};

    std::shared_ptr<Shared> m_shared;
    std::shared_ptr<Wanted> m_wanted; ///< exists as long as the answer is wanted
};

} // namespace vt
