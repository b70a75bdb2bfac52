// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ModuleSymbols.h"

#include <cstdlib>
#include <cxxabi.h>
#include <elfutils/libdwfl.h>
#include <gelf.h>

namespace vt {

namespace {

/// Where a file that is made to be loaded at the address of its first segment begins; 0 for most.
GElf_Addr firstSegmentAddress(Elf* elf)
{
    std::size_t count = 0;
    if (elf_getphdrnum(elf, &count) != 0)
        return 0;
    for (std::size_t i = 0; i < count; ++i) {
        GElf_Phdr header;
        if (gelf_getphdr(elf, static_cast<int>(i), &header) && header.p_type == PT_LOAD)
            return header.p_vaddr - header.p_offset;
    }
    return 0;
}

} // namespace

struct ModuleSymbols::File
{
    explicit File(const std::string& path)
    {
        static char* noDebugPath = nullptr; // the system's usual folders
        static const Dwfl_Callbacks callbacks{&dwfl_build_id_find_elf, &dwfl_standard_find_debuginfo,
                                              &dwfl_offline_section_address, &noDebugPath};
        session = dwfl_begin(&callbacks);
        if (!session)
            return;
        module = dwfl_report_offline(session, path.c_str(), path.c_str(), -1);
        dwfl_report_end(session, nullptr, nullptr);
        GElf_Addr bias = 0;
        Elf* elf = module ? dwfl_module_getelf(module, &bias) : nullptr;
        if (elf)
            base = bias + firstSegmentAddress(elf);
        else
            module = nullptr;
    }
    ~File() { dwfl_end(session); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    Dwfl* session = nullptr;
    Dwfl_Module* module = nullptr;
    GElf_Addr base = 0; ///< of the file's first byte in the session's addresses
};

ModuleSymbols::ModuleSymbols()
{
    unsetenv("DEBUGINFOD_URLS"); // a crash is no occasion to wait for the network
}

ModuleSymbols::~ModuleSymbols() = default;

const ModuleSymbols::File* ModuleSymbols::fileOf(const std::string& module)
{
    std::unique_ptr<File>& file = m_files[module];
    if (!file)
        file = std::make_unique<File>(module);
    return file->module ? file.get() : nullptr;
}

std::string ModuleSymbols::placeName(const std::string& module, std::uint64_t offset)
{
    const File* file = module.starts_with('/') ? fileOf(module) : nullptr;
    if (!file)
        return {};
    const GElf_Addr address = file->base + offset;
    std::string place;
    if (const char* name = dwfl_module_addrname(file->module, address))
        place = spelledOut(name);
    int line = 0;
    Dwfl_Line* source = dwfl_module_getsrc(file->module, address);
    const char* path = source ? dwfl_lineinfo(source, nullptr, &line, nullptr, nullptr, nullptr) : nullptr;
    if (path)
        place += (place.empty() ? "(" : " (") + std::string(path) + ':' + std::to_string(line) + ')';
    return place;
}

std::string ModuleSymbols::spelledOut(const std::string& name)
{
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(
        abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status), &std::free);
    return status == 0 && text ? std::string(text.get()) : name;
}

} // namespace vt
