// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ModuleSymbols.h"

#include <cstdlib>
#include <cxxabi.h>
#include <dwarf.h>
#include <elfutils/libdw.h>
#include <elfutils/libdwfl.h>
#include <gelf.h>
#include <string_view>

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

std::string withLine(const char* before, const char* path, int line)
{
    return before + ('(' + std::string(path) + ':' + std::to_string(line) + ')');
}

std::string nameOf(Dwarf_Die& function)
{
    Dwarf_Attribute attribute;
    if (const char* name = dwarf_formstring(dwarf_attr_integrate(&function, DW_AT_linkage_name, &attribute)))
        return ModuleSymbols::spelledOut(name);
    const char* name = dwarf_diename(&function);
    return name ? name : "?";
}

/// Where an inlined function was called: " (file:line)"; empty in the system's own files, whose layers of
/// templates tell nobody anything.
std::string callOf(Dwarf_Die& inlined, Dwarf_Files* files)
{
    Dwarf_Attribute attribute;
    Dwarf_Word file = 0;
    Dwarf_Word line = 0;
    if (dwarf_formudata(dwarf_attr(&inlined, DW_AT_call_file, &attribute), &file) != 0 ||
        dwarf_formudata(dwarf_attr(&inlined, DW_AT_call_line, &attribute), &line) != 0)
        return {};
    const char* path = dwarf_filesrc(files, file, nullptr, nullptr);
    const bool ofTheSystem = path && std::string_view(path).starts_with("/usr/");
    return path && !ofTheSystem ? withLine(" ", path, static_cast<int>(line)) : std::string();
}

/// The part of a file's debug information that tells of an address; die is null when there is none.
struct Unit
{
    Dwarf_Die* die = nullptr;
    Dwarf_Addr address = 0; ///< as the debug information counts
};

Unit unitOf(Dwfl_Module* module, GElf_Addr address)
{
    Dwarf_Addr bias = 0;
    Dwarf_Die* die = dwfl_module_addrdie(module, address, &bias);
    if (die && dwarf_haspc(die, address - bias) > 0)
        return {die, address - bias};
    // Not every compiler writes the table that the call above looks into.
    die = nullptr;
    while ((die = dwfl_module_nextcu(module, die, &bias)))
        if (dwarf_haspc(die, address - bias) > 0)
            return {die, address - bias};
    return {};
}

/// " (file:line)"; empty when unknown.
std::string lineOf(const Unit& unit)
{
    int number = 0;
    Dwarf_Line* line = unit.die ? dwarf_getsrc_die(unit.die, unit.address) : nullptr;
    const char* path = line ? dwarf_linesrc(line, nullptr, nullptr) : nullptr;
    return path && dwarf_lineno(line, &number) == 0 ? withLine(" ", path, number) : std::string();
}

/// For code that the compiler has put into its caller: "function (file:line), inlined in caller (file:line)",
/// and so on to the function that the code lies in. Empty for other code.
std::string inlinedPlace(const Unit& unit)
{
    Dwarf_Die* found = nullptr;
    if (!unit.die || dwarf_getscopes(unit.die, unit.address, &found) <= 0)
        return {};
    const std::unique_ptr<Dwarf_Die, decltype(&std::free)> innermost(found, &std::free);
    // Those were the scopes as written; now those of the code as it lies there.
    Dwarf_Die* around = nullptr;
    const int count = dwarf_getscopes_die(innermost.get(), &around);
    const std::unique_ptr<Dwarf_Die, decltype(&std::free)> scopes(around, &std::free);
    Dwarf_Files* files = nullptr;
    std::size_t fileCount = 0;
    if (count <= 0 || dwarf_getsrcfiles(unit.die, &files, &fileCount) != 0)
        return {};

    std::string where = lineOf(unit);
    std::string place;
    for (int i = 0; i < count; ++i) {
        Dwarf_Die& scope = around[i];
        const int tag = dwarf_tag(&scope);
        if (tag != DW_TAG_inlined_subroutine && tag != DW_TAG_subprogram)
            continue;
        if (tag == DW_TAG_subprogram && place.empty())
            return place;
        if (place.empty())
            place.append(nameOf(scope)).append(where);
        else if (tag == DW_TAG_subprogram || !where.empty())
            place.append(", inlined in ").append(nameOf(scope)).append(where);
        if (tag == DW_TAG_subprogram)
            return place;
        where = callOf(scope, files);
    }
    return {};
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
    const Unit unit = unitOf(file->module, address);
    std::string place = inlinedPlace(unit);
    if (!place.empty())
        return place;
    const char* name = dwfl_module_addrname(file->module, address);
    place = (name ? spelledOut(name) : std::string()) + lineOf(unit);
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
