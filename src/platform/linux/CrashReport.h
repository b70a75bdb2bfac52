// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/CivilTime.h"

#include <csignal>
#include <cstdint>
#include <string_view>

/// The report of a dying process. Everything here runs in a signal handler: no lock, no allocation.
namespace vt::crash {

enum class Access { None, Read, Write, Unknown };

/// A signal in the words of the report, which are those of Windows.
struct Fault
{
    std::uint32_t code = 0;
    std::string_view typeName = "Unknown";
    std::uintptr_t address = 0; ///< of the instruction
    std::uintptr_t stackPointer = 0;
    Access access = Access::None;
    std::uintptr_t accessAddress = 0;
    int signal = 0;
};
[[nodiscard]] Fault faultOf(int signal, const siginfo_t& info, const void* context) noexcept;

struct ReportOptions
{
    const char* folder = "";
    int utcOffsetSeconds = 0;
    std::string_view uncaught; ///< the escaped exception's type and text; empty: none
    void (*flushLog)() = nullptr;
};

/// Path of the report; empty when there is none.
using ReportPath = FixedText<1023>;
/// How much of the report is on the disk.
enum class Saved { Nothing, Part, PartDiskFull, Whole };
/// Writes it, the dying thread first, then the others. Called by one thread, once.
[[nodiscard]] Saved writeReport(const Fault& fault, const ReportOptions& options, ReportPath& path) noexcept;

} // namespace vt::crash
