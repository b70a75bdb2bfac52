// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <windows.h>

namespace vt::test {

constexpr DWORD PatienceMs = 20000;

/// A named event that one process sets and another waits for.
class Signal
{
public:
    explicit Signal(const std::wstring& name)
        : m_event(::CreateEventW(nullptr, TRUE, FALSE, (L"Local\\VellumtideTest_" + name).c_str()))
    {}
    ~Signal() { ::CloseHandle(m_event); }
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;

    void set() { ::SetEvent(m_event); }
    [[nodiscard]] bool wait() { return ::WaitForSingleObject(m_event, PatienceMs) == WAIT_OBJECT_0; }

private:
    HANDLE m_event;
};

/// This program once more, in another role. Killed at the end of the scope if it still runs.
class Child
{
public:
    explicit Child(const std::wstring& role)
    {
        wchar_t program[MAX_PATH] = {};
        ::GetModuleFileNameW(nullptr, program, MAX_PATH);
        std::wstring line = L'"' + std::wstring(program) + L"\" " + role;
        STARTUPINFOW start = {};
        start.cb = sizeof(start);
        ::CreateProcessW(program, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start,
                         &m_child);
        ::CloseHandle(m_child.hThread);
    }
    ~Child()
    {
        kill();
        ::CloseHandle(m_child.hProcess);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    void kill()
    {
        ::TerminateProcess(m_child.hProcess, 99);
        (void)ended();
    }
    [[nodiscard]] bool ended()
    {
        return ::WaitForSingleObject(m_child.hProcess, PatienceMs) == WAIT_OBJECT_0;
    }
    [[nodiscard]] DWORD exitCode()
    {
        DWORD code = 0;
        return ended() && ::GetExitCodeProcess(m_child.hProcess, &code) ? code : STILL_ACTIVE;
    }
    [[nodiscard]] DWORD id() const { return m_child.dwProcessId; }
    [[nodiscard]] HANDLE handle() const { return m_child.hProcess; }

private:
    PROCESS_INFORMATION m_child = {};
};

} // namespace vt::test
