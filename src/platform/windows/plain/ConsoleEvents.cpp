// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/windows/plain/ConsoleEvents.h"

#include "base/Mutex.h"

#include <memory>
#include <utility>
#include <windows.h>

namespace vt::windows {

namespace {

struct Receiver
{
    Mutex mutex;
    std::function<void()> request VT_GUARDED_BY(mutex);
};

/// Never destroyed: an event may come while the program is on its way out.
Receiver& receiver()
{
    static Receiver& instance = *std::make_unique<Receiver>().release();
    return instance;
}

} // namespace

unsigned long startConsoleEvents(std::function<void()> request)
{
    {
        const MutexLock lock(receiver().mutex);
        receiver().request = std::move(request);
    }
    // Installed once is enough, and it stays: taking it away would wait for a handler that is at work, which
    // waits for the end of the process.
    static const unsigned long error =
        ::SetConsoleCtrlHandler(handleConsoleEvent, TRUE) ? 0 : ::GetLastError();
    return error;
}

void stopConsoleEvents()
{
    const MutexLock lock(receiver().mutex);
    receiver().request = nullptr;
}

int __stdcall handleConsoleEvent(unsigned long event)
{
    {
        const MutexLock lock(receiver().mutex);
        if (receiver().request)
            receiver().request();
    }
    if (event == CTRL_CLOSE_EVENT || event == CTRL_LOGOFF_EVENT || event == CTRL_SHUTDOWN_EVENT)
        ::WaitForSingleObject(::GetCurrentProcess(), closeWaitMs); // its end ends this thread, too
    return TRUE;
}

void leaveConsole()
{
    ::FreeConsole(); // fails only where there is none
}

} // namespace vt::windows
