// SPDX-License-Identifier: GPL-3.0-or-later
// sources: src/platform/windows/plain/SleepRequest.cpp src/platform/windows/plain/LidScheme.cpp
// libraries: powrprof
#include "Report.h"
#include "platform/windows/plain/LidScheme.h"
#include "platform/windows/plain/SleepRequest.h"

namespace {

using vt::test::Report;

void sleepRequest()
{
    Report report("power request");
    vt::windows::SleepRequest request;
    const auto outcome = request.acquire(L"Vellumtide is recording");
    report.equal(request.isHeld(), outcome.failedCall == nullptr, "held");
    report.check(outcome.executionRequired || outcome.executionError != 0 || outcome.failedCall,
                 "refused without an error");
    if (!report.reached(outcome.failedCall ? outcome.failedCall : "", outcome.error))
        return;
    request.release();
    report.check(!request.isHeld(), "held after the release");
}

void lidScheme()
{
    Report report("lid actions");
    const auto scheme = vt::windows::readLidScheme();
    if (!report.reached(scheme.failedCall ? scheme.failedCall : "", scheme.error))
        return;
    report.check(scheme.onMains <= 3 && scheme.onBattery <= 3, "an action that Windows does not have");
}

} // namespace

int main()
{
    sleepRequest();
    lidScheme();
    return Report::exitCode();
}
