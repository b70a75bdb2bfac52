// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/AnimalModel.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vt {

namespace {

constexpr double SampleRateHz = 600.0;
constexpr double TickSeconds = double(SleepSchedule::TickSamples) / SampleRateHz;
constexpr double LimitVolts = 5.0;

int toTicks(double seconds)
{
    return std::max(1, static_cast<int>(seconds / TickSeconds));
}

/// One step of a mean-reverting random walk (Ornstein-Uhlenbeck) of unit variance.
void drift(double& value, double timeConstantSeconds, Random& random)
{
    const double k = TickSeconds / timeConstantSeconds;
    value += -k * value + std::sqrt(2.0 * k) * random.normal();
}

} // namespace

AnimalModel::AnimalModel(int animalType, std::uint64_t seed)
    : m_random(seed), m_traits(drawTraits(animalType, m_random)), m_schedule(animalType, m_random.next()),
      m_groundTruth(m_schedule)
{
    const double humVolts = m_random.uniform(0.001, 0.004);
    const double humPhase = m_random.uniform(0.0, 2.0 * std::numbers::pi);
    for (std::size_t i = 0; i < m_hum.size(); ++i)
        m_hum[i] = humVolts * std::sin(2.0 * std::numbers::pi * double(i) / double(m_hum.size()) + humPhase);
    m_lastState = m_schedule.current().state;
    m_active = m_lastState == AnimalState::ActiveWake ? 1.0 : 0.0;
    m_quiet = m_lastState == AnimalState::QuietWake ? 1.0 : 0.0;
}

AnimalModel::Traits AnimalModel::drawTraits(int animalType, Random& random)
{
    const bool isRat = animalType == 2;
    Traits traits{};
    traits.lowestRateHz = isRat ? 0.95 : 1.9;
    traits.highestRateHz = isRat ? 1.65 : 3.6;
    traits.sleepRateHz = isRat ? random.uniform(1.1, 1.45) : random.uniform(2.3, 3.1);
    traits.breathVolts = isRat ? random.uniform(0.06, 0.14) : random.uniform(0.03, 0.08);
    traits.harmonic2 = random.uniform(0.25, 0.4);
    traits.harmonic3 = random.uniform(0.05, 0.12);
    traits.activeGain = random.uniform(6.0, 12.0);
    traits.quietGain = random.uniform(1.2, 2.0);
    traits.noiseVolts = random.uniform(0.0008, 0.002);
    return traits;
}

bool AnimalModel::isAsleep(std::uint64_t sample)
{
    return m_groundTruth.at(sample).state == AnimalState::Sleep;
}

void AnimalModel::updateWeights()
{
    const AnimalState state = m_schedule.at(m_tickStart).state;
    if (state != m_lastState) {
        m_lastState = state;
        const bool abrupt = m_random.chance(0.5);
        m_rampPerTick = abrupt ? 1.0 : TickSeconds / m_random.uniform(0.3, 1.2);
    }
    const auto approach = [this](double& share, bool on) {
        share = on ? std::min(1.0, share + m_rampPerTick) : std::max(0.0, share - m_rampPerTick);
    };
    approach(m_active, state == AnimalState::ActiveWake);
    approach(m_quiet, state == AnimalState::QuietWake);
}

void AnimalModel::updateBreathing()
{
    drift(m_rateDrift, 45.0, m_random);
    drift(m_depthDrift, 20.0, m_random);
    drift(m_fitfulRate, 0.7, m_random);
    drift(m_fitfulDepth, 0.6, m_random);
    const double asleep = std::max(0.0, 1.0 - m_active - m_quiet);
    const double awake = 1.0 - asleep;

    const double sleepRate = m_traits.sleepRateHz * (1.0 + 0.06 * m_rateDrift + 0.01 * m_fitfulRate);
    const double wakeRate = m_traits.sleepRateHz * (1.5 + 0.45 * m_fitfulRate);
    const double rateHz = asleep * std::clamp(sleepRate, m_traits.lowestRateHz, m_traits.highestRateHz) +
                          awake * std::clamp(wakeRate, 0.5 * m_traits.lowestRateHz, 9.0);
    m_stepRadians = 2.0 * std::numbers::pi * rateHz / SampleRateHz;

    if (m_sighTicks == 0 && m_random.chance(TickSeconds / 150.0))
        m_sighTicks = toTicks(1.0 / rateHz);
    const double sigh = m_sighTicks > 0 ? 1.5 : 1.0;
    m_sighTicks = std::max(0, m_sighTicks - 1);
    const double sleepDepth = std::clamp(1.0 + 0.1 * m_depthDrift, 0.6, 1.5) * sigh;
    const double wakeDepth = 0.6 * std::exp(0.5 * m_fitfulDepth);
    m_breathTarget = m_traits.breathVolts * (asleep * sleepDepth + awake * wakeDepth);
}

void AnimalModel::updateMovement()
{
    drift(m_vigour, 0.5, m_random);
    const double asleep = std::max(0.0, 1.0 - m_active - m_quiet);
    if (m_twitchTicks == 0 && m_random.chance(TickSeconds / 90.0)) {
        m_twitchTicks = toTicks(m_random.uniform(0.1, 0.35));
        m_twitchGain = m_random.uniform(0.4, 1.5);
    }
    if (m_gestureTicks == 0 && m_random.chance(TickSeconds / 1.2)) {
        m_gestureTicks = toTicks(m_random.uniform(0.2, 0.8));
        m_gestureGain = m_random.uniform(0.5, 2.5);
    }
    if (m_pauseTicks == 0 && m_random.chance(TickSeconds / 2.5))
        m_pauseTicks = toTicks(m_random.uniform(0.2, 1.2));

    const double vigour = std::exp(0.7 * m_vigour);
    double gain = 0.02 * asleep;
    if (m_twitchTicks > 0)
        gain += asleep * m_twitchGain;
    gain += m_quiet * m_traits.quietGain * (0.15 * vigour + (m_gestureTicks > 0 ? m_gestureGain : 0.0));
    gain += m_active * m_traits.activeGain * vigour * (m_pauseTicks > 0 ? 0.1 : 1.0);
    m_moveTarget = m_traits.breathVolts * gain;
    m_twitchTicks = std::max(0, m_twitchTicks - 1);
    m_gestureTicks = std::max(0, m_gestureTicks - 1);
    m_pauseTicks = std::max(0, m_pauseTicks - 1);
}

void AnimalModel::tick()
{
    updateWeights();
    updateBreathing();
    updateMovement();
    renderTick();
    m_tickStart += TickSamples;
}

void AnimalModel::renderTick()
{
    // Movement: white noise through two low-passes at 12 Hz and a high-pass at 0.8 Hz, scaled to about 1 rms.
    constexpr double LowPass = 0.118;
    constexpr double HighPass = 0.0083;
    constexpr double MoveScale = 5.0;
    // The sum of two 16-bit integers has variance (2^32 - 1) / 6.
    constexpr double UnitNoise = 3.737e-5;
    const double stepSine = std::sin(m_stepRadians);
    const double stepCosine = std::cos(m_stepRadians);
    const double breathSlope = (m_breathTarget - m_breathVolts) / double(TickSamples);
    const double moveSlope = (m_moveTarget - m_moveVolts) / double(TickSamples);
    const double noiseScale = m_traits.noiseVolts * UnitNoise;
    for (double& sample : m_rendered) {
        m_breathVolts += breathSlope;
        m_moveVolts += moveSlope;
        const double sine = m_sine * stepCosine + m_cosine * stepSine;
        m_cosine = m_cosine * stepCosine - m_sine * stepSine;
        m_sine = sine;
        const double wave = m_sine + m_traits.harmonic2 * 2.0 * m_sine * m_cosine +
                            m_traits.harmonic3 * m_sine * (3.0 - 4.0 * m_sine * m_sine);
        const std::uint64_t bits = m_random.next();
        const int white = static_cast<std::int16_t>(bits) + static_cast<std::int16_t>(bits >> 16);
        const int noise = static_cast<std::int16_t>(bits >> 32) + static_cast<std::int16_t>(bits >> 48);
        m_lowPass1 += LowPass * (UnitNoise * white - m_lowPass1);
        m_lowPass2 += LowPass * (m_lowPass1 - m_lowPass2);
        m_baseline += HighPass * (m_lowPass2 - m_baseline);
        const double move = MoveScale * (m_lowPass2 - m_baseline);
        sample = m_breathVolts * wave + m_moveVolts * move + noiseScale * noise + m_hum[m_humIndex];
        sample = std::clamp(sample, -LimitVolts, LimitVolts);
        if (++m_humIndex == m_hum.size())
            m_humIndex = 0;
    }
    const double length = std::sqrt(m_sine * m_sine + m_cosine * m_cosine);
    m_sine /= length;
    m_cosine /= length;
    m_breathVolts = m_breathTarget;
    m_moveVolts = m_moveTarget;
}

void AnimalModel::generate(double* out, std::size_t count)
{
    while (count > 0) {
        if (m_renderedUsed == TickSamples) {
            tick();
            m_renderedUsed = 0;
        }
        const std::size_t chunk = std::min(count, TickSamples - m_renderedUsed);
        std::copy_n(m_rendered.begin() + static_cast<std::ptrdiff_t>(m_renderedUsed), chunk, out);
        m_renderedUsed += chunk;
        out += chunk;
        count -= chunk;
    }
}

} // namespace vt
