// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/LogRepeats.h"

#include <utility>

namespace vt {

LogRepeats::Verdict LogRepeats::take(QtMsgType type, const char* file, int line, std::string_view text,
                                     Clock::time_point now)
{
    const MutexLock lock(m_mutex);
    if (m_inARow == 0 || type != m_type || file != m_file || line != m_line || text != m_text) {
        const Verdict verdict{true, std::exchange(m_counted, 0), m_type};
        m_inARow = 0; // should the copy fail
        m_text = text;
        m_type = type;
        m_file = file;
        m_line = line;
        m_inARow = 1;
        return verdict;
    }
    if (m_inARow < ShownInARow) {
        ++m_inARow;
        m_told = now;
        return {};
    }
    ++m_counted;
    if (now - m_told < BetweenCounts)
        return {false, 0, m_type};
    m_told = now;
    return {false, std::exchange(m_counted, 0), m_type};
}

LogRepeats::Verdict LogRepeats::takeRest()
{
    const MutexLock lock(m_mutex);
    return {false, std::exchange(m_counted, 0), m_type};
}

} // namespace vt
