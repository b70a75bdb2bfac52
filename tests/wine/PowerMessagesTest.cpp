// SPDX-License-Identifier: GPL-3.0-or-later
// sources: src/platform/windows/plain/PowerMessages.cpp src/platform/windows/plain/EventWindow.cpp
#include "platform/windows/plain/PowerMessages.h"
#include "Report.h"
#include "platform/windows/plain/EventWindow.h"

#include <tuple>
#include <windows.h>

namespace {

using vt::test::Report;
using vt::windows::EndReason;
using vt::windows::EventWindow;
using vt::windows::judgeMessage;
using Event = vt::windows::SystemEvent;

// The numbers are those of Microsoft's documentation of the messages.
void decisions()
{
    struct Case
    {
        unsigned message;
        std::uintptr_t wParam;
        std::intptr_t lParam;
        bool acquiring;
        Event event;
        EndReason reason;
        bool answered;
    };
    constexpr unsigned QueryEndSession = 0x0011;
    constexpr unsigned EndSession = 0x0016;
    constexpr unsigned PowerBroadcast = 0x0218;
    constexpr std::intptr_t Logoff = static_cast<std::int32_t>(0x80000000); // sign-extended, as it arrives
    constexpr std::intptr_t Critical = 0x40000000;
    constexpr std::intptr_t CloseApp = 1;
    constexpr auto System = EndReason::SystemShutdown;
    constexpr auto User = EndReason::UserLogoff;
    constexpr auto Close = EndReason::ApplicationClose;
    Report report("meaning of system messages");
    int number = 0;
    for (const Case& each : {
             Case{QueryEndSession, 0, 0, false, Event::QueryPassed, System, false},
             Case{QueryEndSession, 0, 0, true, Event::QueryBlocked, System, true},
             Case{QueryEndSession, 0, Logoff, true, Event::QueryBlocked, User, true},
             Case{QueryEndSession, 0, CloseApp, true, Event::QueryBlocked, Close, true},
             Case{QueryEndSession, 0, Critical, false, Event::QueryPassed, System, false},
             Case{EndSession, 1, 0, true, Event::ShutdownConfirmed, System, false},
             Case{EndSession, 1, Logoff, false, Event::ShutdownConfirmed, User, false},
             Case{EndSession, 1, CloseApp, true, Event::ShutdownConfirmed, Close, false},
             Case{EndSession, 0, 0, true, Event::ShutdownCancelled, System, false},
             Case{PowerBroadcast, 4, 0, true, Event::Suspending, System, false},
             Case{PowerBroadcast, 7, 0, true, Event::ResumedByUser, System, false},
             Case{PowerBroadcast, 18, 0, true, Event::ResumedAutomatically, System, false},
             Case{PowerBroadcast, 9, 0, true, Event::BatteryLow, System, false},
             Case{PowerBroadcast, 10, 0, true, Event::PowerStatusChanged, System, false},
             Case{PowerBroadcast, 0x8013, 0, true, Event::None, System, false},
             Case{0x0010, 0, 0, true, Event::None, System, false},
         }) {
        const auto verdict = judgeMessage(each.message, each.wParam, each.lParam, each.acquiring);
        const std::string which = "case " + std::to_string(number++);
        report.equal(verdict.event, each.event, which + " event");
        report.equal(verdict.reason, each.reason, which + " reason");
        report.equal(verdict.answered, each.answered, which + " answered");
        report.equal(verdict.answer, std::intptr_t{0}, which + " answer");
    }
}

void repetitions()
{
    Report report("an event told to several windows");
    const int windows[3] = {};
    vt::windows::ToldEvent told;
    int number = 0;
    for (const auto& [event, window, isNew] : {
             std::tuple{Event::QueryBlocked, 0, true},
             {Event::QueryBlocked, 1, false},
             {Event::QueryBlocked, 2, false},
             {Event::QueryBlocked, 0, true}, // asked once more
             {Event::QueryBlocked, 1, false},
             {Event::ShutdownConfirmed, 1, true},
             {Event::ShutdownConfirmed, 0, false},
             {Event::BatteryLow, 0, true},
             {Event::BatteryLow, 1, true},
         })
        report.equal(told.isNew(event, &windows[window]), isNew, "message " + std::to_string(number++));
    vt::windows::ToldEvent single;
    report.check(single.isNew(Event::Suspending, nullptr) && single.isNew(Event::Suspending, nullptr),
                 "the only window is not told everything");
}

void hiddenWindow()
{
    Report report("hidden window for system messages");
    int seen = 0;
    EventWindow window([&](unsigned message, std::uintptr_t wParam, std::intptr_t lParam) {
        const auto verdict = judgeMessage(message, wParam, lParam, true);
        seen += verdict.event != Event::None ? 1 : 0;
        return verdict.answered ? std::optional(verdict.answer) : std::nullopt;
    });
    if (!report.reached("CreateWindowExW", window.error()))
        return;
    const auto handle = static_cast<HWND>(window.window());
    report.equal<LRESULT>(::SendMessageW(handle, WM_QUERYENDSESSION, 0, 0), FALSE, "answer to the query");
    ::SendMessageW(handle, WM_POWERBROADCAST, PBT_APMSUSPEND, 0);
    report.equal(seen, 2, "messages seen");
    report.check(!::GetParent(handle) && !::IsWindowVisible(handle), "not a hidden top-level window");
    report.check(vt::windows::visibleTopLevelWindow() == nullptr, "a hidden window passes for a visible one");
}

void blockReason()
{
    Report report("shutdown block reason");
    report.equal(vt::windows::createBlockReason(nullptr, L"why"), 1400UL, "without a window");
    EventWindow window([](unsigned, std::uintptr_t, std::intptr_t) { return std::nullopt; });
    if (!report.reached("CreateWindowExW", window.error()) ||
        !report.reached("ShutdownBlockReasonCreate",
                        vt::windows::createBlockReason(window.window(), L"Vellumtide is running")))
        return;
    vt::windows::destroyBlockReason(window.window());
}

} // namespace

int main()
{
    decisions();
    repetitions();
    hiddenWindow();
    blockReason();
    return Report::exitCode();
}
