// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "simulation/Random.h"
#include "simulation/SleepSchedule.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace vt {

/// The floor-sensor signal of one animal in volts at 600 Hz. Asleep: regular breathing whose rate and depth
/// drift and vary from breath to breath, with a faint heart beat, sighs and twitches, less regular in the
/// last fifth of a long bout (dreaming). Quiet wake: fitful breathing and small movements. Active: strong
/// irregular movement. Sensor noise and mains hum throughout. Deterministic for a seed, whatever the sizes of
/// the blocks that are asked for. Not thread-safe; generate allocates nothing.
class AnimalModel
{
public:
    /// animalType: 2 is a rat, anything else a mouse.
    AnimalModel(int animalType, std::uint64_t seed);

    /// The next count samples.
    void generate(double* out, std::size_t count);
    /// Ground truth for a sample counted from the start, before or after those generated so far.
    [[nodiscard]] bool isAsleep(std::uint64_t sample);

private:
    /// What distinguishes this animal and its cage.
    struct Traits
    {
        double sleepRateHz, lowestRateHz, highestRateHz;
        double breathVolts;
        double harmonic2, harmonic3;
        double rateSpread, depthSpread; ///< from breath to breath, relative
        double twitchGain;
        double heartRateHz, heartGain; ///< gain relative to breathVolts
        double moveLowPass;            ///< share per sample of the movement's low-passes
        double moveScale;              ///< makes the movement about 1 rms
        double activeGain, quietGain;
        double noiseVolts;
    };
    static Traits drawTraits(int animalType, Random& random);
    void tick();
    void updateWeights();
    void enterSegment(const StateSegment& segment);
    void beginBreath();
    void updateBreathing();
    void updateMovement();
    void renderTick();

    static constexpr std::size_t TickSamples = SleepSchedule::TickSamples;
    Random m_random;
    Traits m_traits;
    SleepSchedule m_schedule;
    SleepSchedule m_groundTruth;
    std::uint64_t m_tickStart = 0;
    std::array<double, TickSamples> m_rendered{};
    std::size_t m_renderedUsed = TickSamples;

    // State shares, ramped at changes of state; they add up to 1.
    double m_active = 0.0;
    double m_quiet = 0.0;
    double m_rampPerTick = 1.0;
    std::uint64_t m_segmentEnd = 0;
    std::uint64_t m_dreamStart = 0;
    Behaviour m_state = Behaviour::Sleep;

    // Slow processes, one step per tick.
    double m_rateDrift = 0.0;
    double m_depthDrift = 0.0;
    double m_fitfulRate = 0.0;
    double m_fitfulDepth = 0.0;
    double m_vigour = 0.0;
    // This breath's deviation from the drift.
    double m_breathRate = 0.0;
    double m_breathDepth = 0.0;
    bool m_exhaling = false;
    double m_sigh = 1.0;
    int m_twitchTicks = 0;
    double m_twitchGain = 0.0;
    int m_gestureTicks = 0;
    double m_gestureGain = 0.0;
    int m_pauseTicks = 0;

    // Per sample.
    double m_sine = 0.0;
    double m_cosine = 1.0;
    double m_stepRadians = 0.0;
    double m_heartSine = 0.0;
    double m_heartCosine = 1.0;
    double m_heartStepRadians = 0.0;
    double m_heartVolts = 0.0;
    double m_breathVolts = 0.0;
    double m_breathTarget = 0.0;
    double m_moveVolts = 0.0;
    double m_moveTarget = 0.0;
    double m_lowPass1 = 0.0;
    double m_lowPass2 = 0.0;
    double m_baseline = 0.0;
    std::array<double, 12> m_hum{}; ///< one mains period: 50 Hz at 600 Hz
    std::size_t m_humIndex = 0;
};

} // namespace vt
