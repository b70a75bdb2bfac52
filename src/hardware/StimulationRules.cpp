// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/StimulationRules.h"

#include <algorithm>
#include <cmath>

namespace vt {

namespace {

constexpr std::array DayNames{"monday", "tuesday", "wednesday", "thursday", "friday", "saturday", "sunday"};

StimulationWindow windowOf(const QHash<QString, QVariant>& entry)
{
    StimulationWindow window;
    window.startTime = entry.value(QStringLiteral("startTime")).toTime();
    window.endTime = entry.value(QStringLiteral("endTime")).toTime();
    if (!window.startTime.isValid() || !window.endTime.isValid())
        return window;
    const QVariantHash days = entry.value(QStringLiteral("days")).toHash();
    for (std::size_t day = 0; day < DayNames.size(); ++day)
        window.days[day] = days.value(QString::fromLatin1(DayNames[day])).toBool();
    return window;
}

bool contains(const StimulationWindow& window, const QTime& time)
{
    if (window.startTime <= window.endTime)
        return window.startTime <= time && time < window.endTime;
    return time >= window.startTime || time < window.endTime;
}

constexpr std::uint16_t bit(int channel)
{
    return static_cast<std::uint16_t>(1U << channel);
}

} // namespace

QString stimulationProtocolName(StimulationProtocol protocol)
{
    switch (protocol) {
    case StimulationProtocol::SleepBased:
        return QStringLiteral("SleepBased");
    case StimulationProtocol::ActivityBased:
        return QStringLiteral("ActivityBased");
    case StimulationProtocol::ManualTrigger:
        return QStringLiteral("ManualTrigger");
    case StimulationProtocol::OpenLoop:
        return QStringLiteral("OpenLoop");
    }
    return QStringLiteral("Unknown");
}

std::vector<StimulationWindow> scheduleWindows(const ScheduleEntries& entries)
{
    std::vector<StimulationWindow> windows;
    windows.reserve(static_cast<std::size_t>(entries.size()));
    for (const QHash<QString, QVariant>& entry : entries)
        windows.push_back(windowOf(entry));
    return windows;
}

bool isWithinStimPeriod(const std::vector<StimulationWindow>& schedule, const QDateTime& localTime)
{
    if (schedule.empty())
        return true;
    if (!localTime.isValid())
        return false;
    const auto today = static_cast<std::size_t>(localTime.date().dayOfWeek() - 1);
    const QTime time = localTime.time();
    return std::ranges::any_of(schedule, [&](const StimulationWindow& window) {
        return window.days[today] && contains(window, time);
    });
}

void followSleep(SleepTracking& tracking, const std::vector<bool>& sleeping,
                 const std::vector<QDateTime>& sleepBeginTime, const SleepMoment& now)
{
    const std::size_t count = std::min(sleeping.size(), tracking.sleeping.size());
    for (std::size_t channel = 0; channel < count; ++channel) {
        const bool fellAsleep = sleeping[channel] && !tracking.sleeping[channel];
        tracking.sleeping[channel] = sleeping[channel];
        if (!fellAsleep)
            continue;
        const bool known = channel < sleepBeginTime.size() && sleepBeginTime[channel].isValid();
        const qint64 lastedMs =
            known ? std::max<qint64>(sleepBeginTime[channel].msecsTo(now.wallClock), 0) : 0;
        tracking.sinceMs[channel] = std::max(now.monotonicMs - lastedMs, tracking.earliestMs);
    }
}

std::uint16_t EligibleCages::mask() const
{
    const int count = std::clamp(activeChannelCount, 0, MaxStimulationChannels);
    const unsigned active = (1U << count) - 1U;
    return static_cast<std::uint16_t>(active & cageEnableMask & ~unsigned{extTriggerMask});
}

std::uint16_t dueForSleep(const SleepTracking& tracking, const EligibleCages& cages, int thresholdSec,
                          qint64 nowMonotonicMs)
{
    constexpr qint64 MsPerSecond = 1000;
    std::uint16_t due = 0;
    for (int channel = 0; channel < MaxStimulationChannels; ++channel) {
        const auto index = static_cast<std::size_t>(channel);
        if (tracking.sleeping[index] &&
            nowMonotonicMs - tracking.sinceMs[index] >= thresholdSec * MsPerSecond)
            due |= bit(channel);
    }
    return due & cages.mask();
}

std::uint16_t dueForActivity(const std::vector<double>& statistics, const EligibleCages& cages,
                             double threshold)
{
    std::uint16_t due = 0;
    const int count = static_cast<int>(std::min<std::size_t>(statistics.size(), MaxStimulationChannels));
    for (int channel = 0; channel < count; ++channel)
        if (statistics[static_cast<std::size_t>(channel)] > threshold)
            due |= bit(channel);
    return due & cages.mask();
}

int scaleRandom(int low, int high, std::uint32_t random)
{
    // At most 2^32 values times 2^32 - 1: fits into 64 bits.
    const auto values = static_cast<std::uint64_t>(static_cast<std::int64_t>(high) - low + 1);
    return static_cast<int>(low + static_cast<std::int64_t>((values * random) >> 32U));
}

std::optional<int> nextRandomIntervalMs(int minMs, int maxMs, std::uint32_t random)
{
    if (minMs < 1 || minMs > maxMs)
        return std::nullopt;
    return scaleRandom(minMs, maxMs, random);
}

TriggerEdges externalTriggerEdges(std::uint16_t previousInputs, std::uint16_t inputs,
                                  std::uint16_t extTriggerMask)
{
    const unsigned before = unsigned{previousInputs} & extTriggerMask;
    const unsigned now = unsigned{inputs} & extTriggerMask;
    TriggerEdges edges;
    edges.rising = static_cast<std::uint16_t>(now & ~before);
    edges.falling = static_cast<std::uint16_t>(before & ~now);
    edges.high = static_cast<std::uint16_t>(now);
    return edges;
}

std::uint8_t durationRegister(int durationMs)
{
    const double seconds = std::clamp(durationMs / 1000.0, 0.0, 127.5);
    return static_cast<std::uint8_t>(std::lround(2.0 * seconds));
}

} // namespace vt
