// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/CivilTime.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace vt::crash {

/// The files that are mapped into the process, for a process that dies: fills itself from the kernel's list
/// with plain reads into memory of its own. Meant to be static.
class ModuleTable
{
public:
    struct Module
    {
        std::uintptr_t begin = 0;
        std::uintptr_t end = 0;
        std::uintptr_t base = 0; ///< where the file's first byte would be: offsets count from here
        FixedText<511> path;
    };

    void read() noexcept;
    /// Null when no file is mapped there.
    [[nodiscard]] const Module* find(std::uintptr_t address) const noexcept;

private:
    void takeLine(std::string_view line) noexcept;

    std::array<Module, 512> m_modules{};
    std::size_t m_count = 0;
};

} // namespace vt::crash
