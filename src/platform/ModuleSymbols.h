// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace vt {

/// Names and source lines out of the files that a crash report names, by their symbol tables and debug
/// information. For the program that works on reports, not for the one that dies: it allocates and reads
/// files. Windows knows nothing here: reports hold the names from the start.
class ModuleSymbols
{
public:
    ModuleSymbols();
    ~ModuleSymbols();
    ModuleSymbols(const ModuleSymbols&) = delete;
    ModuleSymbols& operator=(const ModuleSymbols&) = delete;

    /// "function (file:line)" of the byte at that offset of the loaded file, as far as known; else empty.
    [[nodiscard]] std::string placeName(const std::string& module, std::uint64_t offset);

    /// A type or function as written in the source; as given when it is not one of the compiler's spellings.
    [[nodiscard]] static std::string spelledOut(const std::string& name);

private:
    struct File;
    [[nodiscard]] const File* fileOf(const std::string& module);
    std::map<std::string, std::unique_ptr<File>> m_files;
};

} // namespace vt
