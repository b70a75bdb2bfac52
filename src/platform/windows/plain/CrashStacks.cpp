// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/windows/plain/CrashStacks.h"

#include <algorithm>
#include <cstring>

#include <dbghelp.h>

namespace vt::crash {

namespace {

#if defined(__aarch64__) || defined(_M_ARM64)
constexpr DWORD Machine = IMAGE_FILE_MACHINE_ARM64;
#else
constexpr DWORD Machine = IMAGE_FILE_MACHINE_AMD64;
#endif

void begin(STACKFRAME64& frame, const CONTEXT& context)
{
    frame.AddrPC.Mode = frame.AddrFrame.Mode = frame.AddrStack.Mode = AddrModeFlat;
#if defined(__aarch64__) || defined(_M_ARM64)
    frame.AddrPC.Offset = context.Pc;
    frame.AddrFrame.Offset = context.Fp;
    frame.AddrStack.Offset = context.Sp;
#else
    frame.AddrPC.Offset = context.Rip;
    frame.AddrFrame.Offset = context.Rbp;
    frame.AddrStack.Offset = context.Rsp;
#endif
}

template <std::size_t Room>
void copyText(std::array<wchar_t, Room>& to, const wchar_t* from)
{
    const std::size_t length = std::min(wcsnlen(from, Room), Room - 1);
    std::memcpy(to.data(), from, length * sizeof(wchar_t));
    to[length] = L'\0';
}

} // namespace

void loadSymbols()
{
    SymSetOptions(SYMOPT_LOAD_LINES | SYMOPT_UNDNAME | SYMOPT_FAIL_CRITICAL_ERRORS | SYMOPT_NO_PROMPTS);
    SymInitializeW(GetCurrentProcess(), nullptr, TRUE);
}

void walk(HANDLE thread, const CONTEXT& context, Stack& stack)
{
    stack.count = 0;
    CONTEXT walked = context; // the walker works in it
    STACKFRAME64 frame{};
    begin(frame, walked);
    while (stack.count < stack.frames.size() && frame.AddrPC.Offset != 0) {
        stack.frames[stack.count++] = static_cast<std::uintptr_t>(frame.AddrPC.Offset);
        const DWORD64 before = frame.AddrStack.Offset;
        if (!StackWalk64(Machine, GetCurrentProcess(), thread, &frame, &walked, nullptr,
                         &SymFunctionTableAccess64, &SymGetModuleBase64, nullptr))
            break;
        // The first step only fills in the frame that the walk began with.
        if (stack.count == 1 && frame.AddrPC.Offset == stack.frames[0] && frame.AddrStack.Offset <= before)
            stack.count = 0;
    }
}

void describe(std::uintptr_t address, std::size_t frame, Place& place)
{
    place.module[0] = place.function[0] = place.file[0] = L'\0';
    place.offset = address;
    HANDLE process = GetCurrentProcess();
    IMAGEHLP_MODULEW64 module{};
    module.SizeOfStruct = sizeof module;
    if (SymGetModuleInfoW64(process, address, &module)) {
        copyText(place.module, module.ImageName);
        place.offset = address - static_cast<std::uintptr_t>(module.BaseOfImage);
    } else {
        copyText(place.module, L"?");
    }

    const DWORD64 inside = address - (frame > 0 ? 1 : 0);
    constexpr std::size_t nameRoom = 480;
    alignas(SYMBOL_INFOW) std::array<std::byte, sizeof(SYMBOL_INFOW) + nameRoom * sizeof(wchar_t)> room{};
    auto& symbol = *reinterpret_cast<SYMBOL_INFOW*>(room.data());
    symbol.SizeOfStruct = sizeof symbol;
    symbol.MaxNameLen = nameRoom;
    DWORD64 intoSymbol = 0;
    if (SymFromAddrW(process, inside, &intoSymbol, &symbol))
        copyText(place.function, symbol.Name);

    IMAGEHLP_LINEW64 line{};
    line.SizeOfStruct = sizeof line;
    DWORD intoLine = 0;
    if (SymGetLineFromAddrW64(process, inside, &intoLine, &line)) {
        copyText(place.file, line.FileName);
        place.line = line.LineNumber;
    }
}

} // namespace vt::crash
