// SPDX-License-Identifier: GPL-3.0-or-later
// sources: src/platform/windows/plain/ClaimMutex.cpp
#include "platform/windows/plain/ClaimMutex.h"
#include "Child.h"
#include "Report.h"

#include <windows.h>

namespace {

using vt::test::Child;
using vt::test::Report;
using vt::test::Signal;
using vt::windows::ClaimMutex;
using Outcome = ClaimMutex::Outcome;

const std::wstring Name = L"Local\\Vellumtide_01A2B3C4";

int holdClaim()
{
    ClaimMutex claim;
    const bool claimed = claim.take(Name) == Outcome::Claimed;
    if (claimed)
        Signal(L"claimed").set();
    (void)Signal(L"end").wait();
    return claimed ? 0 : 1;
}

void secondInstance()
{
    Report report("claim of a second instance");
    Signal claimed(L"claimed");
    Signal end(L"end");
    Child first(L"hold");
    if (!report.check(claimed.wait(), "the first instance did not claim"))
        return;
    ClaimMutex claim;
    report.equal(claim.take(Name), Outcome::HeldElsewhere, "while the first holds it");
    report.equal(ClaimMutex::holder(Name).value_or(1), static_cast<unsigned long>(first.id()), "holder");
    end.set();
    report.equal(first.exitCode(), DWORD{0}, "end of the first");
    report.check(!ClaimMutex::holder(Name), "a holder after its end");
    report.equal(claim.take(Name), Outcome::Claimed, "after its end");
    report.equal(ClaimMutex::holder(Name).value_or(1), ::GetCurrentProcessId(), "holder");
    ClaimMutex other;
    report.equal(other.take(Name), Outcome::HeldElsewhere, "a second claim within the process");
    claim.release();
    report.equal(other.take(Name), Outcome::Claimed, "after the release");
}

void abandoned()
{
    Report report("claim abandoned by a killed instance");
    Signal claimed(L"claimed");
    Child first(L"hold");
    if (!report.check(claimed.wait(), "the first instance did not claim"))
        return;
    // Somebody has the mutex open while its owner dies; else it dies with it.
    const HANDLE witness = ::OpenMutexW(SYNCHRONIZE, FALSE, Name.c_str());
    first.kill();
    ClaimMutex claim;
    report.equal(claim.take(Name), Outcome::ClaimedAbandoned, "with a witness");
    ::CloseHandle(witness);
    claim.release();
    report.check(!ClaimMutex::holder(Name), "a holder after the release");
}

void takenName()
{
    Report report("claim under a name of something else");
    Signal event(L"claimed");
    ClaimMutex claim;
    report.equal(claim.take(L"Local\\VellumtideTest_claimed"), Outcome::Failed, "outcome");
    report.equal(claim.error(), static_cast<unsigned long>(ERROR_INVALID_HANDLE), "error");
}

} // namespace

int main(int argc, char**)
{
    if (argc > 1)
        return holdClaim();
    secondInstance();
    abandoned();
    takenName();
    return Report::exitCode();
}
