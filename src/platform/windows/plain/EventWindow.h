// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

namespace vt::windows {

/// A hidden top-level window for a program without any: Windows tells only windows about the end of the
/// session and about sleep, and not those that merely take messages. Lives on a thread that dispatches
/// messages.
class EventWindow
{
public:
    /// Given each message; an answer ends its way, without one the system's default applies.
    using Handler =
        std::function<std::optional<std::intptr_t>(unsigned message, std::uintptr_t, std::intptr_t)>;

    explicit EventWindow(Handler handler);
    ~EventWindow();
    EventWindow(const EventWindow&) = delete;
    EventWindow& operator=(const EventWindow&) = delete;

    /// Null when the system refused.
    [[nodiscard]] void* window() const { return m_window; }
    [[nodiscard]] unsigned long error() const { return m_error; }

private:
    struct Procedure;
    Handler m_handler;
    void* m_window = nullptr;
    unsigned long m_error = 0;
};

/// The first visible window of the calling thread that no other owns, null without one.
[[nodiscard]] void* visibleTopLevelWindow();

/// Registers the text that Windows shows when it is kept from shutting down; 0 or the Win32 error. window
/// belongs to the calling thread.
[[nodiscard]] unsigned long createBlockReason(void* window, const wchar_t* reason);
void destroyBlockReason(void* window);

} // namespace vt::windows
