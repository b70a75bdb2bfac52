// SPDX-License-Identifier: GPL-3.0-or-later
// sources: src/platform/windows/plain/ProcessStart.cpp
#include "platform/windows/plain/ProcessStart.h"
#include "Child.h"
#include "Report.h"

#include <windows.h>

int main(int argc, char**)
{
    using namespace vt;
    if (argc > 1) { // the child
        (void)test::Signal(L"end").wait();
        return 0;
    }
    {
        test::Report report("start of a process");
        const auto own = windows::processStart(::GetCurrentProcessId());
        test::Child child(L"wait");
        const auto started = windows::processStart(child.id());
        report.check(own && started && *started > *own, "a child was not started after its parent");
        report.check(windows::processStart(child.id()) == started, "it changes");
        child.kill(); // and is still open here
        report.check(!windows::processStart(child.id()),
                     "a process that has ended is taken for a running one");
    }
    return test::Report::exitCode();
}
