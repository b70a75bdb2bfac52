// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <windows.h>

/// Stacks and names for the crash report, by the system's debug help. One thread at a time, as debug help
/// asks.
namespace vt::crash {

/// Return addresses of one thread, innermost first.
struct Stack
{
    std::array<std::uintptr_t, 100> frames{};
    std::size_t count = 0;
};

/// What is known of an address; texts are zero-terminated, empty when unknown.
struct Place
{
    std::array<wchar_t, 512> module{};
    std::uintptr_t offset = 0; ///< in the module; the address itself without one
    std::array<wchar_t, 512> function{};
    std::array<wchar_t, 512> file{};
    unsigned line = 0;
};

/// Loads the symbols of all modules, from beside the program and from where the system is told to look.
void loadSymbols();
/// The thread stands still, or waits in the filter with that context.
void walk(HANDLE thread, const CONTEXT& context, Stack& stack);
/// frame: its number; all but the innermost address are where a call returns to.
void describe(std::uintptr_t address, std::size_t frame, Place& place);

} // namespace vt::crash
