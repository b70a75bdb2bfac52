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
    enterSegment(m_schedule.current());
    m_rampPerTick = 1.0;
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
    traits.rateSpread = isRat ? 0.04 : 0.05;
    traits.depthSpread = isRat ? 0.055 : 0.10;
    traits.twitchGain = isRat ? 0.9 : 1.5;
    traits.heartRateHz = isRat ? random.uniform(5.3, 6.6) : random.uniform(7.6, 9.6);
    traits.heartGain = isRat ? random.uniform(0.07, 0.12) : random.uniform(0.04, 0.1);
    traits.moveLowPass = isRat ? 0.061 : 0.118; // 6 Hz, 12 Hz
    traits.moveScale = isRat ? 7.2 : 5.0;
    traits.activeGain = random.uniform(6.0, 12.0);
    traits.quietGain = random.uniform(1.2, 2.0);
    traits.noiseVolts = random.uniform(0.0008, 0.002);
    return traits;
}

bool AnimalModel::isAsleep(std::uint64_t sample)
{
    return m_groundTruth.at(sample).state == Behaviour::Sleep;
}

void AnimalModel::enterSegment(const StateSegment& segment)
{
    constexpr std::uint64_t LongBoutSamples = 60'000; // 100 s
    m_state = segment.state;
    m_segmentEnd = segment.end();
    const bool dreams = m_state == Behaviour::Sleep && segment.length >= LongBoutSamples;
    m_dreamStart = dreams ? segment.end() - segment.length / 5 : segment.end();
    const bool abrupt = m_random.chance(0.5);
    m_rampPerTick = abrupt ? 1.0 : TickSeconds / m_random.uniform(0.3, 1.2);
}

void AnimalModel::updateWeights()
{
    if (m_tickStart == m_segmentEnd)
        enterSegment(m_schedule.at(m_tickStart));
    const auto approach = [this](double& share, bool on) {
        share = on ? std::min(1.0, share + m_rampPerTick) : std::max(0.0, share - m_rampPerTick);
    };
    approach(m_active, m_state == Behaviour::ActiveWake);
    approach(m_quiet, m_state == Behaviour::QuietWake);
}

void AnimalModel::beginBreath()
{
    const double unrest = m_tickStart >= m_dreamStart ? 1.8 : 1.0;
    m_breathRate = unrest * m_traits.rateSpread * m_random.normal();
    m_breathDepth = unrest * m_traits.depthSpread * m_random.normal();
    m_sigh = m_random.chance(1.0 / 200.0) ? 1.6 : 1.0;
}

void AnimalModel::updateBreathing()
{
    drift(m_rateDrift, 45.0, m_random);
    drift(m_depthDrift, 20.0, m_random);
    drift(m_fitfulRate, 0.7, m_random);
    drift(m_fitfulDepth, 0.6, m_random);
    const bool exhaling = m_sine < 0.0;
    if (m_exhaling && !exhaling)
        beginBreath();
    m_exhaling = exhaling;

    const double asleep = std::max(0.0, 1.0 - m_active - m_quiet);
    const double awake = 1.0 - asleep;
    const double sleepRate = m_traits.sleepRateHz * (1.0 + 0.06 * m_rateDrift + m_breathRate);
    const double wakeRate = m_traits.sleepRateHz * (1.5 + 0.45 * m_fitfulRate);
    const double rateHz = asleep * std::clamp(sleepRate, m_traits.lowestRateHz, m_traits.highestRateHz) +
                          awake * std::clamp(wakeRate, 0.5 * m_traits.lowestRateHz, 9.0);
    m_stepRadians = 2.0 * std::numbers::pi * rateHz / SampleRateHz;

    const double sleepDepth = std::clamp(1.0 + 0.1 * m_depthDrift + m_breathDepth, 0.4, 1.8) * m_sigh;
    const double wakeDepth = 0.6 * std::exp(0.5 * m_fitfulDepth);
    m_breathTarget = m_traits.breathVolts * (asleep * sleepDepth + awake * wakeDepth);

    const double heartRateHz = m_traits.heartRateHz * (1.0 + 0.02 * m_rateDrift + 0.1 * awake);
    m_heartStepRadians = 2.0 * std::numbers::pi * heartRateHz / SampleRateHz;
    m_heartVolts = m_traits.breathVolts * m_traits.heartGain;
}

void AnimalModel::updateMovement()
{
    drift(m_vigour, 0.5, m_random);
    const double asleep = std::max(0.0, 1.0 - m_active - m_quiet);
    if (m_twitchTicks == 0 && m_random.chance(TickSeconds / (m_tickStart >= m_dreamStart ? 30.0 : 90.0))) {
        m_twitchTicks = toTicks(m_random.uniform(0.1, 0.35));
        m_twitchGain = m_random.uniform(0.3, 1.0) * m_traits.twitchGain;
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

namespace {

/// A sine made by turning a pointer by a fixed angle per sample.
struct Rotation
{
    Rotation(double sineNow, double cosineNow, double stepRadians)
        : sine(sineNow), cosine(cosineNow), stepSine(std::sin(stepRadians)), stepCosine(std::cos(stepRadians))
    {}
    void turn()
    {
        const double turned = sine * stepCosine + cosine * stepSine;
        cosine = cosine * stepCosine - sine * stepSine;
        sine = turned;
    }
    /// Undoes the rounding that changes the pointer's length.
    void store(double& sineOut, double& cosineOut) const
    {
        const double length = std::sqrt(sine * sine + cosine * cosine);
        sineOut = sine / length;
        cosineOut = cosine / length;
    }
    double sine, cosine;
    const double stepSine, stepCosine;
};

} // namespace

void AnimalModel::renderTick()
{
    constexpr double HighPass = 0.0083; // 0.8 Hz
    // The sum of two 16-bit integers has variance (2^32 - 1) / 6.
    constexpr double UnitNoise = 3.737e-5;
    Rotation breath(m_sine, m_cosine, m_stepRadians);
    Rotation heart(m_heartSine, m_heartCosine, m_heartStepRadians);
    const double breathSlope = (m_breathTarget - m_breathVolts) / double(TickSamples);
    const double moveSlope = (m_moveTarget - m_moveVolts) / double(TickSamples);
    const double noiseScale = m_traits.noiseVolts * UnitNoise;
    const double lowPass = m_traits.moveLowPass;
    for (double& sample : m_rendered) {
        m_breathVolts += breathSlope;
        m_moveVolts += moveSlope;
        breath.turn();
        heart.turn();
        const double wave = breath.sine + m_traits.harmonic2 * 2.0 * breath.sine * breath.cosine +
                            m_traits.harmonic3 * breath.sine * (3.0 - 4.0 * breath.sine * breath.sine);
        const std::uint64_t bits = m_random.next();
        const int white = static_cast<std::int16_t>(bits) + static_cast<std::int16_t>(bits >> 16);
        const int noise = static_cast<std::int16_t>(bits >> 32) + static_cast<std::int16_t>(bits >> 48);
        m_lowPass1 += lowPass * (UnitNoise * white - m_lowPass1);
        m_lowPass2 += lowPass * (m_lowPass1 - m_lowPass2);
        m_baseline += HighPass * (m_lowPass2 - m_baseline);
        const double move = m_traits.moveScale * (m_lowPass2 - m_baseline);
        const double volts = m_breathVolts * wave + m_heartVolts * heart.sine + m_moveVolts * move +
                             noiseScale * noise + m_hum[m_humIndex];
        sample = std::clamp(volts, -LimitVolts, LimitVolts);
        if (++m_humIndex == m_hum.size())
            m_humIndex = 0;
    }
    breath.store(m_sine, m_cosine);
    heart.store(m_heartSine, m_heartCosine);
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
