// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"

#include <QtGlobal>
#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace vt {

/// Keeps messages that come again and again from filling the log: one that came more than twenty times is
/// only counted from then on, from whatever threads it comes. The last sixteen different messages are
/// remembered, so that several that take turns, as with a full disk, are counted as well; one that stays away
/// for ten seconds begins anew. Any thread; a message costs a comparison with each that is remembered.
class LogRepeats
{
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::size_t Remembered = 16;
    static constexpr int ShownEach = 20;
    /// Between the counts that are told of a message while it goes on; also how long one is remembered.
    static constexpr std::chrono::seconds BetweenCounts{10};
    static constexpr std::size_t ToldBytes = 200;

    /// What is to be done with a message, and what is to be told before it.
    struct Verdict
    {
        bool isLogged = true;
        std::uint64_t repeated = 0;  ///< times that a message was counted; 0: nothing to tell
        QtMsgType type = QtDebugMsg; ///< of that message
        std::string text;            ///< its beginning, ToldBytes at most
    };
    /// file is compared by its address. Counts are told within BetweenCounts of the last one as long as any
    /// messages come, and before the first other message that is logged.
    [[nodiscard]] Verdict take(QtMsgType type, const char* file, int line, std::string_view text,
                               Clock::time_point now) VT_EXCLUDES(m_mutex);
    /// One of those that were counted and not told yet; to be asked for until there is nothing to tell.
    [[nodiscard]] Verdict takeRest() VT_EXCLUDES(m_mutex);

private:
    struct Entry
    {
        QtMsgType type = QtDebugMsg;
        const char* file = nullptr;
        int line = 0;
        std::string text;
        int shown = 0; ///< 0: the entry is free
        std::uint64_t counted = 0;
        Clock::time_point seen;
        Clock::time_point told; ///< or shown
    };
    [[nodiscard]] Entry* find(QtMsgType type, const char* file, int line, std::string_view text,
                              Clock::time_point now) VT_REQUIRES(m_mutex);
    [[nodiscard]] Entry& oldest() VT_REQUIRES(m_mutex);
    /// The count that is overdue, if there is one.
    void tellDue(Verdict& verdict, Clock::time_point now) VT_REQUIRES(m_mutex);
    static void tell(Verdict& verdict, Entry& entry);

    Mutex m_mutex;
    std::array<Entry, Remembered> m_entries VT_GUARDED_BY(m_mutex);
    Entry* m_last VT_GUARDED_BY(m_mutex) = nullptr; ///< that of the newest message
};

} // namespace vt
