// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/windows/plain/LidScheme.h"

#include <windows.h>

#include <powrprof.h>
#include <shellapi.h>

namespace vt::windows {

namespace {

// Power buttons and lid; its lid close action. Own copies: the system's headers only declare them.
constexpr GUID ButtonSubgroup = {
    0x4f971e89, 0xeebd, 0x4455, {0xa8, 0xde, 0x9e, 0x59, 0x04, 0x0e, 0x73, 0x47}};
constexpr GUID LidCloseAction = {
    0x5ca83367, 0x6e45, 0x459f, {0xa2, 0x7b, 0x47, 0x6b, 0x1d, 0x01, 0xc9, 0x36}};

void note(LidScheme& scheme, const char* call, DWORD error)
{
    if (error != ERROR_SUCCESS && !scheme.failedCall) {
        scheme.failedCall = call;
        scheme.error = error;
    }
}

} // namespace

LidScheme readLidScheme()
{
    LidScheme scheme;
    SYSTEM_POWER_STATUS status = {};
    constexpr BYTE NoBattery = 128;
    constexpr BYTE Unknown = 255;
    if (::GetSystemPowerStatus(&status))
        scheme.hasBattery = status.BatteryFlag != Unknown && (status.BatteryFlag & NoBattery) == 0;
    else
        note(scheme, "GetSystemPowerStatus", ::GetLastError());

    GUID* active = nullptr;
    if (const DWORD error = ::PowerGetActiveScheme(nullptr, &active); error != ERROR_SUCCESS) {
        note(scheme, "PowerGetActiveScheme", error);
        return scheme;
    }
    note(scheme, "PowerReadACValueIndex",
         ::PowerReadACValueIndex(nullptr, active, &ButtonSubgroup, &LidCloseAction, &scheme.onMains));
    note(scheme, "PowerReadDCValueIndex",
         ::PowerReadDCValueIndex(nullptr, active, &ButtonSubgroup, &LidCloseAction, &scheme.onBattery));
    ::LocalFree(active);
    return scheme;
}

unsigned long openByDesktop(const wchar_t* target)
{
    const auto result =
        reinterpret_cast<INT_PTR>(::ShellExecuteW(nullptr, L"open", target, nullptr, nullptr, SW_SHOWNORMAL));
    return result > 32 ? 0 : static_cast<unsigned long>(result);
}

} // namespace vt::windows
