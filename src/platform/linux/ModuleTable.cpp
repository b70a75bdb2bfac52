// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/linux/ModuleTable.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace vt::crash {

namespace {

std::uintptr_t takeHex(std::string_view& text) noexcept
{
    std::uintptr_t value = 0;
    while (!text.empty()) {
        const char letter = text.front();
        unsigned digit = 0;
        if (letter >= '0' && letter <= '9')
            digit = static_cast<unsigned>(letter - '0');
        else if (letter >= 'a' && letter <= 'f')
            digit = static_cast<unsigned>(letter - 'a') + 10;
        else
            break;
        value = value * 16 + digit;
        text.remove_prefix(1);
    }
    return value;
}

void skipPast(std::string_view& text, char letter) noexcept
{
    text.remove_prefix(std::min(text.find(letter), text.size() - 1) + 1);
}

/// Devices, shared memory and stacks are nothing that code comes from.
bool isModule(std::string_view path) noexcept
{
    return path == "[vdso]" ||
           (path.front() == '/' && !path.starts_with("/dev/") && !path.starts_with("/memfd:"));
}

} // namespace

void ModuleTable::read() noexcept
{
    m_count = 0;
    m_path.clear();
    const int descriptor = ::open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    std::array<char, 4096> buffer{};
    FixedText<1023> line;
    for (;;) {
        const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        for (const char letter : std::string_view(buffer.data(), static_cast<std::size_t>(count))) {
            if (letter != '\n') {
                line.add(letter);
                continue;
            }
            takeLine(line.view());
            line.clear();
        }
    }
    ::close(descriptor);
}

/// "55d0c0a2f000-55d0c0a31000 r-xp 00002000 08:01 393230     /usr/bin/program"
void ModuleTable::takeLine(std::string_view line) noexcept
{
    const std::size_t pathBegin = line.find_first_of("/[");
    if (pathBegin == std::string_view::npos || !isModule(line.substr(pathBegin)))
        return;
    FixedText<511> path;
    path.add(line.substr(pathBegin));
    const std::uintptr_t begin = takeHex(line);
    skipPast(line, '-');
    const std::uintptr_t end = takeHex(line);
    skipPast(line, ' ');
    const bool executable = line.substr(0, line.find(' ')).find('x') != std::string_view::npos;
    skipPast(line, ' ');
    const std::uintptr_t offset = takeHex(line);
    // The base is that of the file's first piece: later ones may lie elsewhere in memory than in the file.
    if (offset == 0 || path.view() != m_path.view())
        m_base = begin - offset;
    m_path = path;
    if (!executable || m_count == m_modules.size())
        return;
    Module& module = m_modules[m_count++];
    module.begin = begin;
    module.end = end;
    module.base = m_base;
    module.path = path;
}

const ModuleTable::Module* ModuleTable::find(std::uintptr_t address) const noexcept
{
    for (std::size_t i = 0; i < m_count; ++i)
        if (address >= m_modules[i].begin && address < m_modules[i].end)
            return &m_modules[i];
    return nullptr;
}

} // namespace vt::crash
