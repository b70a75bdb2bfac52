// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/LogLine.h"

#include "base/CivilTime.h"
#include "platform/CrashHandler.h"

#include <QDateTime>
#include <atomic>

namespace vt {

namespace {

constexpr std::size_t LongestMessageBytes = 1 << 20;
constexpr qint64 MinuteMs = 60'000;

char letterOf(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return 'D';
    case QtInfoMsg:
        return 'I';
    case QtWarningMsg:
        return 'W';
    case QtCriticalMsg:
        return 'C';
    case QtFatalMsg:
        break;
    }
    return 'F';
}

/// Minute and offset in one word, so that readers never see one without the other.
int utcOffsetSecondsAt(qint64 utcMs)
{
    static std::atomic<qint64> cached{-1};
    constexpr qint64 span = 1 << 18; // seconds, more than two days
    const qint64 minute = utcMs / MinuteMs;
    const qint64 known = cached.load(std::memory_order_relaxed);
    if (known >= 0 && known / span == minute)
        return static_cast<int>(known % span - span / 2);
    const int offset = QDateTime::fromMSecsSinceEpoch(minute * MinuteMs).offsetFromUtc();
    cached.store(minute * span + offset + span / 2, std::memory_order_relaxed);
    CrashHandler::noteUtcOffset(offset);
    return offset;
}

} // namespace

std::string logLine(QtMsgType type, const char* sourceFile, int sourceLine, std::string_view message)
{
    const qint64 utcMs = wallClockMs();
    return logLineAt(utcMs, utcOffsetSecondsAt(utcMs), type, sourceFile, sourceLine, message);
}

std::string logLineAt(qint64 utcMs, int utcOffsetSeconds, QtMsgType type, const char* sourceFile,
                      int sourceLine, std::string_view message)
{
    const CivilTime time = CivilTime::from(utcMs, utcOffsetSeconds);
    FixedText<80> head;
    head.add('[').addTime(time).add('.').addDigits(time.millisecond, 3).add(" UTC");
    head.addUtcOffset(utcOffsetSeconds).add(' ').add(letterOf(type)).add("] ");
    FixedText<24> place;
    place.add(':').addDigits(sourceLine, 1).add(" - ");
    const std::string_view file = sourceFile ? sourceFile : "unknown";

    std::string line;
    line.reserve(head.view().size() + file.size() + place.view().size() + message.size() + 1);
    line.append(head.view()).append(file).append(place.view());
    line.append(message.substr(0, LongestMessageBytes));
    if (message.size() > LongestMessageBytes)
        line.append(" (").append(std::to_string(message.size() - LongestMessageBytes)).append(" bytes cut)");
    line.push_back('\n');
    return line;
}

char severityOf(std::string_view record) noexcept
{
    const std::size_t headEnd = record.find(']');
    return headEnd == record.npos || headEnd == 0 ? '\0' : record[headEnd - 1];
}

} // namespace vt
