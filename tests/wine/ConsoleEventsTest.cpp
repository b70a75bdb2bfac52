// SPDX-License-Identifier: GPL-3.0-or-later
// sources: src/platform/windows/plain/ConsoleEvents.cpp
#include "platform/windows/plain/ConsoleEvents.h"
#include "Child.h"
#include "Report.h"

#include <cstdlib>
#include <cstring>

namespace {

using vt::test::Child;
using vt::test::Report;
using vt::test::Signal;

constexpr UINT ClosedInOrder = 7;
constexpr UINT EndedBySystem = 8;

/// What the system does with a console event: calls the handler on a thread of its own and ends the process
/// when that has returned, but for Ctrl-C.
DWORD WINAPI systemThread(void* event)
{
    const auto number = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(event));
    (void)vt::windows::handleConsoleEvent(number);
    if (number == CTRL_C_EVENT)
        Signal(L"returned").set();
    else
        ::ExitProcess(EndedBySystem);
    return 0;
}

/// A program that is asked to end by the event and needs a second for its files.
int program(std::uintptr_t event)
{
    Signal returned(L"returned"); // exists from here on
    HANDLE requested = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (vt::windows::startConsoleEvents([requested] { ::SetEvent(requested); }) != 0)
        return 1;
    ::CloseHandle(::CreateThread(nullptr, 0, systemThread, reinterpret_cast<void*>(event), 0, nullptr));
    if (::WaitForSingleObject(requested, vt::test::PatienceMs) != WAIT_OBJECT_0)
        return 2;
    if (event == CTRL_C_EVENT && !returned.wait())
        return 3;
    ::WaitForSingleObject(::GetCurrentThread(), 1000); // the work
    vt::windows::stopConsoleEvents();
    return ClosedInOrder;
}

void endInOrder(DWORD event, const char* name)
{
    Report report(std::string("a program closes its files after ") + name);
    report.equal<DWORD>(Child(std::to_wstring(event)).exitCode(), ClosedInOrder, "exit status");
}

void nobodyAsked()
{
    Report report("a console event after the end of its receiver");
    int requests = 0;
    report.equal(vt::windows::startConsoleEvents([&] { ++requests; }), 0UL, "error");
    report.equal(vt::windows::handleConsoleEvent(CTRL_BREAK_EVENT), TRUE, "answer");
    vt::windows::stopConsoleEvents();
    report.equal(vt::windows::handleConsoleEvent(CTRL_BREAK_EVENT), TRUE, "answer without a receiver");
    report.equal(requests, 1, "requests");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 2)
        return program(std::strtoul(argv[1], nullptr, 10));
    endInOrder(CTRL_C_EVENT, "Ctrl-C");
    endInOrder(CTRL_CLOSE_EVENT, "the end of its console window");
    endInOrder(CTRL_LOGOFF_EVENT, "a logoff");
    endInOrder(CTRL_SHUTDOWN_EVENT, "a shutdown");
    nobodyAsked();
    return Report::exitCode();
}
