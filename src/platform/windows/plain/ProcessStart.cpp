// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/windows/plain/ProcessStart.h"

#include <windows.h>

namespace vt::windows {

std::optional<std::uint64_t> processStart(unsigned long processId)
{
    const HANDLE process = ::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE, FALSE, processId);
    if (!process)
        return std::nullopt;
    FILETIME created{};
    FILETIME other{};
    // One that has ended is still there for as long as somebody has it open.
    const bool isRunning = ::WaitForSingleObject(process, 0) == WAIT_TIMEOUT &&
                           ::GetProcessTimes(process, &created, &other, &other, &other);
    ::CloseHandle(process);
    if (!isRunning)
        return std::nullopt;
    return (std::uint64_t{created.dwHighDateTime} << 32) | created.dwLowDateTime;
}

} // namespace vt::windows
