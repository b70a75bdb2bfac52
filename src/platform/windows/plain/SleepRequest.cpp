// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/windows/plain/SleepRequest.h"

#include <string>
#include <windows.h>

namespace vt::windows {

namespace {

// By number: older headers do not name the third.
constexpr auto SystemRequired = static_cast<POWER_REQUEST_TYPE>(1);
constexpr auto ExecutionRequired = static_cast<POWER_REQUEST_TYPE>(3);

} // namespace

SleepRequest::Outcome SleepRequest::acquire(const wchar_t* reason)
{
    Outcome outcome;
    std::wstring text = reason; // the structure wants it writable
    REASON_CONTEXT context = {};
    context.Version = POWER_REQUEST_CONTEXT_VERSION;
    context.Flags = POWER_REQUEST_CONTEXT_SIMPLE_STRING;
    context.Reason.SimpleReasonString = text.data();
    const HANDLE request = ::PowerCreateRequest(&context);
    if (request == INVALID_HANDLE_VALUE || request == nullptr) {
        outcome.failedCall = "PowerCreateRequest";
        outcome.error = ::GetLastError();
        return outcome;
    }
    if (!::PowerSetRequest(request, SystemRequired)) {
        outcome.failedCall = "PowerSetRequest";
        outcome.error = ::GetLastError();
        ::CloseHandle(request);
        return outcome;
    }
    m_request = request;
    m_executionRequired = ::PowerSetRequest(request, ExecutionRequired) != 0;
    outcome.executionRequired = m_executionRequired;
    if (!m_executionRequired)
        outcome.executionError = ::GetLastError();
    return outcome;
}

void SleepRequest::release()
{
    if (!m_request)
        return;
    if (m_executionRequired)
        ::PowerClearRequest(m_request, ExecutionRequired);
    ::PowerClearRequest(m_request, SystemRequired);
    ::CloseHandle(m_request);
    m_request = nullptr;
    m_executionRequired = false;
}

} // namespace vt::windows
