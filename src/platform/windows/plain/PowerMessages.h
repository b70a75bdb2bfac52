// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace vt::windows {

enum class SystemEvent {
    None, ///< not a message of this kind
    QueryPassed,
    QueryBlocked,
    ShutdownConfirmed,
    ShutdownCancelled,
    Suspending,
    ResumedByUser,
    ResumedAutomatically,
    BatteryLow,
    PowerStatusChanged
};

enum class EndReason { SystemShutdown, UserLogoff, ApplicationClose };

/// What a window message means to the program.
struct MessageVerdict
{
    SystemEvent event = SystemEvent::None;
    EndReason reason = EndReason::SystemShutdown; ///< of the first four
    /// The message is answered with answer and goes no further; else it takes its usual way.
    bool answered = false;
    std::intptr_t answer = 0;
};

/// acquiring: a polite request to end the session is answered with "not yet". Any thread.
[[nodiscard]] MessageVerdict judgeMessage(unsigned message, std::uintptr_t wParam, std::intptr_t lParam,
                                          bool acquiring);

/// Tells an event from its repetitions: the system tells each event to every top-level window in turn. The
/// change of the power status and the low battery are news each time. One thread.
class ToldEvent
{
public:
    /// window: the one that is told, null for a program with only one.
    [[nodiscard]] bool isNew(SystemEvent event, const void* window);

private:
    SystemEvent m_event = SystemEvent::None;
    const void* m_firstWindow = nullptr; ///< told it first; told again, it is the next event of its kind
};

} // namespace vt::windows
