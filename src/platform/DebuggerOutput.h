// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

namespace vt {

/// Where messages go besides the log. Linux: standard error. Windows: the debugger, and standard error when
/// that is a console or a file; a pipe there cannot be asked for room, and would hold the writer. One thread.
class DebuggerOutput
{
public:
    static constexpr int StandardError = 2;
    /// Another descriptor than standard error is for tests; Windows knows only the one.
    explicit DebuggerOutput(int descriptor = StandardError) : m_descriptor(descriptor) {}

    /// Takes of the UTF-8 text as much as there is room for now. A pipe is not waited for; a terminal or
    /// console that is stopped, a debugger that stands still and a disk that hangs may hold the caller, which
    /// is a thread that can be spared. Returns the number of bytes taken; text for which there is no output
    /// at all counts as taken.
    [[nodiscard]] std::size_t write(std::string_view text);
    /// Waits until there is room, up to the time.
    void waitForRoom(int timeoutMs);

private:
    int m_descriptor;
};

} // namespace vt
