// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/windows/plain/PowerMessages.h"

#include <windows.h>

namespace vt::windows {

namespace {

EndReason reasonOf(std::intptr_t lParam)
{
    const auto flags = static_cast<DWORD>(lParam);
    if (flags & ENDSESSION_LOGOFF)
        return EndReason::UserLogoff;
    if (flags & ENDSESSION_CLOSEAPP)
        return EndReason::ApplicationClose;
    return EndReason::SystemShutdown;
}

SystemEvent broadcastEvent(std::uintptr_t wParam)
{
    switch (wParam) {
    case PBT_APMSUSPEND:
        return SystemEvent::Suspending;
    case PBT_APMRESUMESUSPEND:
        return SystemEvent::ResumedByUser;
    case PBT_APMRESUMEAUTOMATIC:
        return SystemEvent::ResumedAutomatically;
    case PBT_APMBATTERYLOW:
        return SystemEvent::BatteryLow;
    case PBT_APMPOWERSTATUSCHANGE:
        return SystemEvent::PowerStatusChanged;
    default:
        return SystemEvent::None;
    }
}

} // namespace

MessageVerdict judgeMessage(unsigned message, std::uintptr_t wParam, std::intptr_t lParam, bool acquiring)
{
    MessageVerdict verdict;
    switch (message) {
    case WM_QUERYENDSESSION:
        verdict.event = acquiring ? SystemEvent::QueryBlocked : SystemEvent::QueryPassed;
        verdict.reason = reasonOf(lParam);
        verdict.answered = acquiring;
        verdict.answer = FALSE;
        break;
    case WM_ENDSESSION:
        verdict.event = wParam ? SystemEvent::ShutdownConfirmed : SystemEvent::ShutdownCancelled;
        verdict.reason = reasonOf(lParam);
        break;
    case WM_POWERBROADCAST:
        verdict.event = broadcastEvent(wParam);
        break;
    default:
        break;
    }
    return verdict;
}

bool ToldEvent::isNew(SystemEvent event, const void* window)
{
    if (event == m_event && window != m_firstWindow && event != SystemEvent::PowerStatusChanged &&
        event != SystemEvent::BatteryLow)
        return false;
    m_event = event;
    m_firstWindow = window;
    return true;
}

} // namespace vt::windows
