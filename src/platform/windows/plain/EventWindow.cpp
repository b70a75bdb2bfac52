// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/windows/plain/EventWindow.h"

#include <windows.h>

namespace vt::windows {

namespace {

constexpr wchar_t ClassName[] = L"VellumtideSystemEvents";

BOOL CALLBACK keepVisible(HWND window, LPARAM found)
{
    if (!::IsWindowVisible(window) || ::GetWindow(window, GW_OWNER))
        return TRUE;
    *reinterpret_cast<HWND*>(found) = window;
    return FALSE;
}

} // namespace

struct EventWindow::Procedure
{
    static LRESULT CALLBACK handle(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
    {
        if (message == WM_NCCREATE) {
            const auto* creation = reinterpret_cast<const CREATESTRUCTW*>(lParam);
            ::SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(creation->lpCreateParams));
        }
        const auto* self = reinterpret_cast<EventWindow*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
        if (self && self->m_window) {
            if (const auto answer = self->m_handler(message, wParam, lParam))
                return *answer;
        }
        return ::DefWindowProcW(window, message, wParam, lParam);
    }
};

EventWindow::EventWindow(Handler handler) : m_handler(std::move(handler))
{
    WNDCLASSEXW description = {};
    description.cbSize = sizeof(description);
    description.lpfnWndProc = &Procedure::handle;
    description.hInstance = ::GetModuleHandleW(nullptr);
    description.lpszClassName = ClassName;
    if (!::RegisterClassExW(&description) && ::GetLastError() != ERROR_CLASS_ALREADY_EXISTS) {
        m_error = ::GetLastError();
        return;
    }
    ::SetLastError(0); // not every refusal sets one
    m_window = ::CreateWindowExW(0, ClassName, L"Vellumtide", WS_OVERLAPPED, 0, 0, 0, 0, nullptr, nullptr,
                                 description.hInstance, this);
    if (!m_window)
        m_error = ::GetLastError() != 0 ? ::GetLastError() : ERROR_CAN_NOT_COMPLETE;
}

EventWindow::~EventWindow()
{
    if (!m_window)
        return;
    const auto window = static_cast<HWND>(m_window);
    m_window = nullptr; // the last messages of the window find no handler
    ::DestroyWindow(window);
}

void* visibleTopLevelWindow()
{
    HWND found = nullptr;
    ::EnumThreadWindows(::GetCurrentThreadId(), keepVisible, reinterpret_cast<LPARAM>(&found));
    return found;
}

unsigned long createBlockReason(void* window, const wchar_t* reason)
{
    if (!window)
        return ERROR_INVALID_WINDOW_HANDLE;
    return ::ShutdownBlockReasonCreate(static_cast<HWND>(window), reason) ? 0 : ::GetLastError();
}

void destroyBlockReason(void* window)
{
    ::ShutdownBlockReasonDestroy(static_cast<HWND>(window));
}

} // namespace vt::windows
