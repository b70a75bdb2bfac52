// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "simulation/Random.h"

#include <cstdint>

namespace vt {

enum class Behaviour { Sleep, QuietWake, ActiveWake };

/// A stretch of one state; times in samples at 600 Hz since the start, multiples of
/// SleepSchedule::TickSamples.
struct StateSegment
{
    Behaviour state = Behaviour::Sleep;
    std::uint64_t start = 0;
    std::uint64_t length = 0;
    [[nodiscard]] std::uint64_t end() const { return start + length; }
};

/// The endless sequence of states of one animal, the same for the same seed: sleep bouts of minutes broken by
/// brief arousals, wake bouts made of active and quiet stretches, more sleep in the light half of the
/// day. The stream starts at 10:00 of a day with light from 7:00 to 19:00. Holds one segment at a time.
class SleepSchedule
{
public:
    static constexpr std::uint64_t TickSamples = 20;

    /// animalType: 2 is a rat, anything else a mouse.
    SleepSchedule(int animalType, std::uint64_t seed);

    [[nodiscard]] const StateSegment& current() const { return m_segment; }
    void advance();
    /// The segment that holds this sample. Cheap going forward, starts over when going back.
    [[nodiscard]] const StateSegment& at(std::uint64_t sample);

private:
    void restart();
    void beginBout();
    [[nodiscard]] double sleepPressure() const;
    [[nodiscard]] double drawSleepSeconds();
    [[nodiscard]] double drawWakeSeconds();

    const bool m_isRat;
    const std::uint64_t m_seed;
    Random m_random;
    StateSegment m_segment;
    bool m_boutIsSleep = false;
    std::uint64_t m_boutEnd = 0;
};

} // namespace vt
