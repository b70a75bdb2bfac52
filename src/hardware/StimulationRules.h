// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/StimulationSettings.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QVariant>
#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

/// Who is to be stimulated, and when: plain functions of facts, without clocks, signals or devices. Channel i
/// is cage i + 1 and bit i of every mask. Any thread.
namespace vt {

inline constexpr int MaxStimulationChannels = 16;

/// "SleepBased", "ActivityBased", "ManualTrigger" or "OpenLoop".
[[nodiscard]] QString stimulationProtocolName(StimulationProtocol protocol);

/// A schedule as dialogs and setup files carry it. Keys of an entry: "days" (a hash of "monday" ... "sunday"
/// to bool), "startTime" and "endTime" (times, or texts "HH:mm" or "HH:mm:ss").
using ScheduleEntries = QList<QHash<QString, QVariant>>;

/// One window per entry. An entry that lacks a key or has no valid time never applies; it still counts as an
/// entry, so that a schedule of nothing but such entries is not "at any time".
[[nodiscard]] std::vector<StimulationWindow> scheduleWindows(const ScheduleEntries& entries);

/// Whether cages may be stimulated at this wall-clock time; always without a schedule. A window holds on the
/// days that it names, from startTime to before endTime; with startTime after endTime, on each of those days
/// before endTime and from startTime on. Clock changes: a window inside the hour that is skipped does not
/// occur on that day, one inside the hour that is repeated occurs twice.
[[nodiscard]] bool isWithinStimPeriod(const std::vector<StimulationWindow>& schedule,
                                      const QDateTime& localTime);

/// One moment on both clocks. Beginnings of sleep are told on the wall clock, durations are measured on the
/// monotonic one: setting the computer's clock neither wakes nor ages a sleeper.
struct SleepMoment
{
    QDateTime wallClock;
    qint64 monotonicMs = 0;
};

/// Which channels sleep, and since when.
struct SleepTracking
{
    std::array<bool, MaxStimulationChannels> sleeping{};
    std::array<qint64, MaxStimulationChannels> sinceMs{};   ///< monotonic
    qint64 earliestMs = std::numeric_limits<qint64>::min(); ///< nobody was watched before
};
/// Takes in one decision. An ongoing sleep keeps its first start. A sleep whose beginning is missing, invalid
/// or in the future begins now.
void followSleep(SleepTracking& tracking, const std::vector<bool>& sleeping,
                 const std::vector<QDateTime>& sleepBeginTime, const SleepMoment& now);

/// Which channels the protocol may stimulate at all: those below activeChannelCount that are enabled and do
/// not follow an external trigger.
struct EligibleCages
{
    int activeChannelCount = 0;
    std::uint16_t cageEnableMask = 0;
    std::uint16_t extTriggerMask = 0;

    [[nodiscard]] std::uint16_t mask() const;
};

/// Eligible channels that have slept for at least thresholdSec.
[[nodiscard]] std::uint16_t dueForSleep(const SleepTracking& tracking, const EligibleCages& cages,
                                        int thresholdSec, qint64 nowMonotonicMs);

/// Eligible channels whose decision statistic is above the threshold (not equal to it).
[[nodiscard]] std::uint16_t dueForActivity(const std::vector<double>& statistics, const EligibleCages& cages,
                                           double threshold);

/// A whole number from low to high (low <= high), both included and all equally likely, from a uniform 32-bit
/// random number: low + floor((high - low + 1) u / 2^32).
[[nodiscard]] int scaleRandom(int low, int high, std::uint32_t random);

/// The next open-loop interval; none unless 1 <= minMs <= maxMs.
[[nodiscard]] std::optional<int> nextRandomIntervalMs(int minMs, int maxMs, std::uint32_t random);

/// What changed at the inputs of the cages that follow an external trigger.
struct TriggerEdges
{
    std::uint16_t rising = 0;
    std::uint16_t falling = 0;
    std::uint16_t high = 0; ///< high now

    bool operator==(const TriggerEdges&) const = default;
};
[[nodiscard]] TriggerEdges externalTriggerEdges(std::uint16_t previousInputs, std::uint16_t inputs,
                                                std::uint16_t extTriggerMask);

/// Duration of a cage's profile as register value: half seconds, 0 to 255.
[[nodiscard]] std::uint8_t durationRegister(int durationMs);

} // namespace vt
