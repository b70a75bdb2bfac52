// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/windows/plain/ChildJob.h"

#include <windows.h>

namespace vt::windows {

ChildJob::ChildJob()
{
    // Not inheritable: a child that held the job open would keep itself alive.
    m_job = ::CreateJobObjectW(nullptr, nullptr);
    if (!m_job) {
        fail("CreateJobObjectW");
        return;
    }
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    if (::SetInformationJobObject(m_job, JobObjectExtendedLimitInformation, &limits, sizeof(limits)))
        return;
    fail("SetInformationJobObject");
    ::CloseHandle(m_job);
    m_job = nullptr;
}

ChildJob::~ChildJob()
{
    if (m_job)
        ::CloseHandle(m_job);
}

bool ChildJob::add(void* process)
{
    if (!m_job)
        return false;
    return ::AssignProcessToJobObject(m_job, process) ? true : fail("AssignProcessToJobObject");
}

bool ChildJob::fail(const char* call)
{
    m_failedCall = call;
    m_error = ::GetLastError();
    return false;
}

} // namespace vt::windows
