// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ModuleSymbols.h"

namespace vt {

struct ModuleSymbols::File
{};

ModuleSymbols::ModuleSymbols() = default;
ModuleSymbols::~ModuleSymbols() = default;

std::string ModuleSymbols::placeName(const std::string&, std::uint64_t)
{
    return {};
}

std::string ModuleSymbols::spelledOut(const std::string& name)
{
    return name;
}

} // namespace vt
