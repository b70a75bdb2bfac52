// SPDX-License-Identifier: GPL-3.0-or-later
// What the log is made of, without its threads.
#include "session/LogLine.h"
#include "session/LogQueue.h"
#include "session/LogRepeats.h"

#include <gtest/gtest.h>
#include <map>
#include <string>

namespace vt {
namespace {

TEST(LogLine, HasTheStatedShape)
{
    // 2026-03-09 06:05:01.042 UTC, by `date -u -d @1773036301`.
    constexpr qint64 moment = 1'773'036'301'042;
    EXPECT_EQ(logLineAt(moment, 3600, QtWarningMsg, "src/a.cpp", 42, "one\ntwo"),
              "[2026/03/09 7:05:01.042 UTC+0100 W] src/a.cpp:42 - one\ntwo\n");
    EXPECT_EQ(logLineAt(moment, -(3 * 3600 + 1800), QtDebugMsg, nullptr, 0, ""),
              "[2026/03/09 2:35:01.042 UTC-0330 D] unknown:0 - \n");
    const std::string letters = {logLineAt(0, 0, QtInfoMsg, "f", 1, "")[33],
                                 logLineAt(0, 0, QtCriticalMsg, "f", 1, "")[33],
                                 logLineAt(0, 0, QtFatalMsg, "f", 1, "")[33]};
    EXPECT_EQ(letters, "ICF") << logLineAt(0, 0, QtInfoMsg, "f", 1, "");
    const std::string longest = logLineAt(moment, 0, QtDebugMsg, "f", 1, std::string((1 << 20) + 5, 'x'));
    EXPECT_TRUE(longest.ends_with("x (5 bytes cut)\n"));
}

TEST(LogRepeats, AreToldWhileTheyGoOn)
{
    LogRepeats repeats;
    const LogRepeats::Clock::time_point begin{};
    const auto take = [&](int second) {
        return repeats.take(QtDebugMsg, "f", 1, "again", begin + std::chrono::seconds(second));
    };
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(take(0).isLogged);
    std::uint64_t told = 0;
    for (int second = 1; second <= 25; ++second)
        told += take(second).repeated;
    EXPECT_EQ(told, 20); // at 10 s and at 20 s
    EXPECT_EQ(repeats.takeRest().repeated, 5);
}

// A full disk makes three different lines of every write that fails, 30 times a second: within hours they had
// used up all of the log.
TEST(LogRepeats, FoldMessagesThatTakeTurns)
{
    LogRepeats repeats;
    LogRepeats::Clock::time_point now{};
    std::map<std::string, std::uint64_t> shown;
    std::map<std::string, std::uint64_t> told;
    const auto note = [&told](const LogRepeats::Verdict& verdict) {
        if (verdict.repeated > 0)
            told[verdict.text] += verdict.repeated;
    };
    constexpr std::uint64_t Failures = 30 * 60 * 60;
    for (std::uint64_t i = 0; i < Failures; ++i, now += std::chrono::milliseconds(33))
        for (const char* text : {"not written", "disk full", "data loss"}) {
            const LogRepeats::Verdict verdict = repeats.take(QtCriticalMsg, "f", 1, text, now);
            shown[text] += verdict.isLogged ? 1 : 0;
            note(verdict);
        }
    for (LogRepeats::Verdict rest = repeats.takeRest(); rest.repeated > 0; rest = repeats.takeRest())
        note(rest);
    for (const char* text : {"not written", "disk full", "data loss"}) {
        EXPECT_EQ(shown[text], 20) << text;
        EXPECT_EQ(told[text], Failures - 20) << text;
    }
    // What stayed away is shown again, and pushing others out loses no count.
    now += std::chrono::seconds(11);
    for (int i = 0; i < 21; ++i)
        EXPECT_EQ(repeats.take(QtCriticalMsg, "f", 1, "disk full", now).isLogged, i < 20);
    std::uint64_t pushedOut = 0;
    for (int i = 0; i < 20; ++i)
        pushedOut += repeats.take(QtDebugMsg, "f", 1, std::to_string(i), now).repeated;
    EXPECT_EQ(pushedOut, 1);
    EXPECT_EQ(repeats.takeRest().repeated, 0);
}

TEST(LogQueue, CountsWhatDoesNotFit)
{
    LogQueue queue(1024);
    for (int i = 0; i < 20; ++i)
        queue.push(std::string(100, static_cast<char>('a' + i)));
    // Nine of 112 bytes fit, eleven are lost, and two more below.
    EXPECT_EQ(queue.end(), 9U * 112);
    for (const auto reader : {LogQueue::Reader::File, LogQueue::Reader::Display}) {
        queue.push("no room while one of two readers needs it");
        queue.release(reader, queue.end());
    }
    LogQueue::Position at = queue.end();
    queue.push("now");
    const LogQueue::Record notice = queue.at(at);
    const std::string text = std::string(notice.text[0]) + std::string(notice.text[1]);
    EXPECT_TRUE(text.ends_with(" - LogManager: Lines lost: 13\n")) << text;
    const LogQueue::Record now = queue.at(notice.next);
    EXPECT_EQ(std::string(now.text[0]) + std::string(now.text[1]), "now");
    EXPECT_EQ(now.next, queue.end());
}

} // namespace
} // namespace vt
