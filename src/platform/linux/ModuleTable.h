// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/CivilTime.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace vt::crash {

/// The files whose code is mapped into the process, for a process that dies: fills itself from the kernel's
/// list with plain reads into memory of its own. Meant to be static.
class ModuleTable
{
public:
    /// One piece of a file's code, without the data before and behind it.
    struct Module
    {
        std::uintptr_t begin = 0;
        std::uintptr_t end = 0;
        std::uintptr_t base = 0; ///< where the file's first byte would be: offsets count from here
        FixedText<511> path;
    };

    void read() noexcept;
    /// Takes a line of the kernel's list, in their order.
    void takeLine(std::string_view line) noexcept;
    /// Null when no file's code is mapped there.
    [[nodiscard]] const Module* find(std::uintptr_t address) const noexcept;

private:
    std::array<Module, 512> m_modules{};
    FixedText<511> m_path;     ///< of the line before
    std::uintptr_t m_base = 0; ///< of that file
    std::size_t m_count = 0;
};

} // namespace vt::crash
