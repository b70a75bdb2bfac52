// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/windows/plain/ClaimMutex.h"

#include <windows.h>

namespace vt::windows {

namespace {

std::wstring mappingName(const std::wstring& name)
{
    return name + L"_owner";
}

/// The process id published beside the mutex, 0 when none can be read.
DWORD publishedOwner(const std::wstring& name)
{
    const HANDLE mapping = ::OpenFileMappingW(FILE_MAP_READ, FALSE, mappingName(name).c_str());
    if (!mapping)
        return 0;
    DWORD owner = 0;
    if (void* view = ::MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, sizeof(LONG))) {
        owner = *static_cast<const DWORD*>(view);
        ::UnmapViewOfFile(view);
    }
    ::CloseHandle(mapping);
    return owner;
}

} // namespace

ClaimMutex::Outcome ClaimMutex::take(const std::wstring& name)
{
    release();
    m_error = 0;
    const HANDLE mutex = ::CreateMutexW(nullptr, FALSE, name.c_str());
    if (!mutex) {
        m_error = ::GetLastError();
        return Outcome::Failed;
    }
    // A thread is let into a mutex that it owns already, so another claim of this process is told by the id.
    if (publishedOwner(name) == ::GetCurrentProcessId()) {
        ::CloseHandle(mutex);
        return Outcome::HeldElsewhere;
    }
    const DWORD result = ::WaitForSingleObject(mutex, 0);
    if (result != WAIT_OBJECT_0 && result != WAIT_ABANDONED) {
        ::CloseHandle(mutex);
        return Outcome::HeldElsewhere;
    }
    m_mutex = mutex;
    publishOwner(name);
    return result == WAIT_ABANDONED ? Outcome::ClaimedAbandoned : Outcome::Claimed;
}

void ClaimMutex::publishOwner(const std::wstring& name)
{
    m_mapping = ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(LONG),
                                     mappingName(name).c_str());
    if (!m_mapping)
        return;
    m_owner = static_cast<long*>(::MapViewOfFile(m_mapping, FILE_MAP_WRITE, 0, 0, sizeof(LONG)));
    if (m_owner)
        ::InterlockedExchange(m_owner, static_cast<LONG>(::GetCurrentProcessId()));
}

void ClaimMutex::release()
{
    if (m_owner) {
        ::InterlockedExchange(m_owner, 0);
        ::UnmapViewOfFile(m_owner);
        m_owner = nullptr;
    }
    if (m_mapping) {
        ::CloseHandle(m_mapping);
        m_mapping = nullptr;
    }
    if (m_mutex) {
        ::ReleaseMutex(m_mutex);
        ::CloseHandle(m_mutex);
        m_mutex = nullptr;
    }
}

std::optional<unsigned long> ClaimMutex::holder(const std::wstring& name)
{
    const HANDLE mutex = ::OpenMutexW(SYNCHRONIZE, FALSE, name.c_str());
    if (!mutex) {
        if (::GetLastError() == ERROR_ACCESS_DENIED)
            return 0; // it exists, and is someone else's
        return std::nullopt;
    }
    ::CloseHandle(mutex);
    return publishedOwner(name);
}

} // namespace vt::windows
