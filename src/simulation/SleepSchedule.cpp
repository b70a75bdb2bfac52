// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/SleepSchedule.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vt {

namespace {

constexpr double SampleRateHz = 600.0;

std::uint64_t toSamples(double seconds)
{
    const auto ticks =
        static_cast<std::uint64_t>(seconds * SampleRateHz / double(SleepSchedule::TickSamples));
    return std::max<std::uint64_t>(ticks, 1) * SleepSchedule::TickSamples;
}

} // namespace

SleepSchedule::SleepSchedule(int animalType, std::uint64_t seed)
    : m_isRat(animalType == 2), m_seed(seed), m_random(seed)
{
    restart();
}

void SleepSchedule::restart()
{
    m_random = Random(m_seed);
    m_segment = StateSegment{};
    m_boutIsSleep = m_random.chance(0.5);
    m_boutEnd = 0;
    advance();
}

double SleepSchedule::sleepPressure() const
{
    const double hour = 10.0 + double(m_boutEnd) / (SampleRateHz * 3600.0);
    return 0.5 + 0.5 * std::cos(2.0 * std::numbers::pi * (hour - 13.0) / 24.0); // 1 at 13:00, 0 at 1:00
}

double SleepSchedule::drawSleepSeconds()
{
    const double median = (m_isRat ? 200.0 : 150.0) * (0.6 + 0.8 * sleepPressure());
    return std::clamp(m_random.logNormal(median, 0.75), 25.0, m_isRat ? 1800.0 : 1200.0);
}

double SleepSchedule::drawWakeSeconds()
{
    const double pressure = sleepPressure();
    if (m_random.chance(0.3 + 0.25 * pressure))
        return m_random.uniform(4.0, 15.0);
    const double median = 120.0 + 360.0 * (1.0 - pressure);
    return std::clamp(m_random.logNormal(median, 0.8), 20.0, 3600.0);
}

void SleepSchedule::beginBout()
{
    m_boutIsSleep = !m_boutIsSleep;
    m_boutEnd += toSamples(m_boutIsSleep ? drawSleepSeconds() : drawWakeSeconds());
}

void SleepSchedule::advance()
{
    m_segment.start = m_segment.end();
    if (m_segment.start == m_boutEnd)
        beginBout();
    const std::uint64_t left = m_boutEnd - m_segment.start;
    if (m_boutIsSleep) {
        m_segment.state = Behaviour::Sleep;
        m_segment.length = left;
        return;
    }
    const bool wasActive = m_segment.state == Behaviour::ActiveWake;
    m_segment.state = wasActive ? Behaviour::QuietWake : Behaviour::ActiveWake;
    const double seconds = wasActive ? m_random.logNormal(8.0, 0.6) : m_random.logNormal(15.0, 0.8);
    m_segment.length = std::min(left, toSamples(std::clamp(seconds, 2.0, 120.0)));
}

const StateSegment& SleepSchedule::at(std::uint64_t sample)
{
    if (sample < m_segment.start)
        restart();
    while (sample >= m_segment.end())
        advance();
    return m_segment;
}

} // namespace vt
