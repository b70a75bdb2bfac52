// SPDX-License-Identifier: GPL-3.0-or-later
// sources: src/platform/windows/plain/ChildJob.cpp
#include "platform/windows/plain/ChildJob.h"
#include "Child.h"
#include "Report.h"

#include <cstdlib>
#include <string>
#include <windows.h>

namespace {

using vt::test::Child;
using vt::test::PatienceMs;
using vt::test::Report;
using vt::test::Signal;

/// Waits to be killed, and longer than anyone waits for that.
int sleepLong()
{
    (void)Signal(L"never").wait();
    (void)Signal(L"never").wait();
    (void)Signal(L"never").wait();
    return 0;
}

/// Owns the job with the process of the given id in it, until it is killed.
int ownJob(DWORD member)
{
    vt::windows::ChildJob job;
    const HANDLE process = ::OpenProcess(PROCESS_SET_QUOTA | PROCESS_TERMINATE, FALSE, member);
    if (!process || !job.add(process))
        return static_cast<int>(job.error() ? job.error() : ::GetLastError());
    ::CloseHandle(process);
    Signal(L"added").set();
    return sleepLong();
}

void dieWithTheOwner()
{
    Report report("children end with a killed program");
    Signal added(L"added");
    Child member(L"sleep");
    Child bystander(L"sleep");
    Child owner(L"own " + std::to_wstring(member.id()));
    if (!report.check(added.wait(), "not added to a job"))
        return;
    report.equal(::WaitForSingleObject(member.handle(), 0), DWORD{WAIT_TIMEOUT}, "before the owner dies");
    owner.kill();
    report.equal(::WaitForSingleObject(member.handle(), PatienceMs), DWORD{WAIT_OBJECT_0}, "after it died");
    report.equal(::WaitForSingleObject(bystander.handle(), 0), DWORD{WAIT_TIMEOUT}, "one outside the job");
}

void endWithTheObject()
{
    Report report("children end with the job");
    Child member(L"sleep");
    {
        vt::windows::ChildJob job;
        if (!report.reached("add", job.add(member.handle()) ? 0 : job.error()))
            return;
    }
    report.equal(::WaitForSingleObject(member.handle(), PatienceMs), DWORD{WAIT_OBJECT_0}, "after the job");
    vt::windows::ChildJob job;
    report.check(!job.add(nullptr) && job.error() != 0 && job.failedCall(), "no process was added");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 2)
        return ownJob(std::strtoul(argv[2], nullptr, 10));
    if (argc > 1)
        return sleepLong();
    dieWithTheOwner();
    endWithTheObject();
    return Report::exitCode();
}
