// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/LogRepeats.h"

#include <algorithm>
#include <utility>

namespace vt {

namespace {

/// Not within a character of UTF-8.
std::string beginningOf(const std::string& text, std::size_t bytes)
{
    if (text.size() <= bytes)
        return text;
    while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0U) == 0x80U)
        --bytes;
    return text.substr(0, bytes) + "...";
}

} // namespace

LogRepeats::Verdict LogRepeats::take(QtMsgType type, const char* file, int line, std::string_view text,
                                     Clock::time_point now)
{
    const MutexLock lock(m_mutex);
    Verdict verdict;
    Entry* entry = find(type, file, line, text, now);
    if (entry && entry->shown >= ShownEach) {
        verdict.isLogged = false;
        ++entry->counted;
        entry->seen = now;
        m_last = entry;
        tellDue(verdict, now);
        return verdict;
    }
    if (!entry) {
        entry = &oldest();
        tell(verdict, *entry);
        entry->shown = 0; // should the copy fail
        entry->text = text;
        entry->type = type;
        entry->file = file;
        entry->line = line;
    } else if (entry->shown == 0) { // it begins anew
        tell(verdict, *entry);
    }
    ++entry->shown;
    entry->seen = now;
    entry->told = now;
    // What came before is told of before what comes after it.
    if (m_last && m_last != entry && verdict.repeated == 0)
        tell(verdict, *m_last);
    m_last = entry;
    if (verdict.repeated == 0)
        tellDue(verdict, now);
    return verdict;
}

LogRepeats::Verdict LogRepeats::takeRest()
{
    const MutexLock lock(m_mutex);
    Verdict verdict;
    verdict.isLogged = false;
    const auto untold = std::find_if(m_entries.begin(), m_entries.end(),
                                     [](const Entry& entry) { return entry.counted > 0; });
    if (untold != m_entries.end())
        tell(verdict, *untold);
    return verdict;
}

/// One that has stayed away for too long is not found: it begins anew.
LogRepeats::Entry* LogRepeats::find(QtMsgType type, const char* file, int line, std::string_view text,
                                    Clock::time_point now)
{
    const auto found = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& entry) {
        return entry.shown > 0 && entry.line == line && entry.file == file && entry.type == type &&
               entry.text == text;
    });
    if (found == m_entries.end())
        return nullptr;
    if (now - found->seen > BetweenCounts)
        found->shown = 0;
    return &*found;
}

LogRepeats::Entry& LogRepeats::oldest()
{
    return *std::min_element(m_entries.begin(), m_entries.end(), [](const Entry& left, const Entry& right) {
        return std::pair(left.shown > 0, left.seen) < std::pair(right.shown > 0, right.seen);
    });
}

void LogRepeats::tellDue(Verdict& verdict, Clock::time_point now)
{
    const auto due = std::find_if(m_entries.begin(), m_entries.end(), [now](const Entry& entry) {
        return entry.counted > 0 && now - entry.told >= BetweenCounts;
    });
    if (due == m_entries.end())
        return;
    due->told = now;
    tell(verdict, *due);
}

void LogRepeats::tell(Verdict& verdict, Entry& entry)
{
    if (entry.counted == 0)
        return;
    verdict.text = beginningOf(entry.text, ToldBytes);
    verdict.repeated = std::exchange(entry.counted, 0);
    verdict.type = entry.type;
}

} // namespace vt
