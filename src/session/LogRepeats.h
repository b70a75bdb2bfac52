// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"

#include <QtGlobal>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace vt {

/// Keeps a message that comes again and again from filling the log: what comes more than twenty times in a
/// row, from whatever threads, is only counted from then on. Any thread.
class LogRepeats
{
public:
    using Clock = std::chrono::steady_clock;
    static constexpr int ShownInARow = 20;
    static constexpr std::chrono::seconds BetweenCounts{10}; ///< while it goes on

    struct Verdict
    {
        bool isLogged = true;
        std::uint64_t repeated = 0;  ///< to be told before the message; 0: nothing to tell
        QtMsgType type = QtDebugMsg; ///< of what was repeated
    };
    /// What is to be done with a message; file is compared by its address.
    [[nodiscard]] Verdict take(QtMsgType type, const char* file, int line, std::string_view text,
                               Clock::time_point now) VT_EXCLUDES(m_mutex);
    /// What was counted and not told yet.
    [[nodiscard]] Verdict takeRest() VT_EXCLUDES(m_mutex);

private:
    Mutex m_mutex;
    QtMsgType m_type VT_GUARDED_BY(m_mutex) = QtDebugMsg;
    const char* m_file VT_GUARDED_BY(m_mutex) = nullptr;
    int m_line VT_GUARDED_BY(m_mutex) = 0;
    std::string m_text VT_GUARDED_BY(m_mutex);
    int m_inARow VT_GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_counted VT_GUARDED_BY(m_mutex) = 0;
    Clock::time_point m_told VT_GUARDED_BY(m_mutex);
};

} // namespace vt
