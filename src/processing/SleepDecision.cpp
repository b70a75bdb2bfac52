// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/SleepDecision.h"

#include <algorithm>
#include <limits>

namespace vt {

namespace {

constexpr int WarmUpSteps = 2;
constexpr std::size_t SpectrumValuesForPresence = 4;

} // namespace

SleepDecision::SleepDecision(const Config& config)
    : m_config(config), m_channels(static_cast<std::size_t>(std::max(config.channelCount, 0)))
{}

void SleepDecision::step(int index, const FeatureResult& result, const QDateTime& now)
{
    Channel& channel = m_channels[static_cast<std::size_t>(index)];
    if (result.spectrumSize > SpectrumValuesForPresence) {
        const bool present = isSignalPresent(m_config.amplifier, result.spectrumValues(), result.brPower2);
        channel.presenceCounter = nextPresenceCounter(channel.presenceCounter, present);
        channel.noSignal = isNoSignal(channel.presenceCounter);
    }
    if (index == 0)
        beginStep(now);
    if (m_config.kind == SessionKind::SleepScoring)
        decide(channel, result.features, now);
    if (m_warmUpSteps < WarmUpSteps)
        return;
    const double power = result.features.signalPower;
    updateBaseline(channel.baseline, power, m_config.kind,
                   channel.sleeping ? AnimalState::Sleeping : AnimalState::Awake);
    DayProfileBin& bin = channel.dayProfile[m_bin];
    channel.activityIndex = activityIndex(power, channel.baseline.value);
    bin.sum += channel.activityIndex;
    bin.count += 1;
}

double SleepDecision::shownBreathRate(int index, double breathRateHz) const
{
    return channel(index).decisionStat >= 0.0 ? breathRateHz : std::numeric_limits<double>::quiet_NaN();
}

void SleepDecision::beginStep(const QDateTime& now)
{
    m_warmUpSteps = std::min(m_warmUpSteps + 1, WarmUpSteps);
    m_bin = dayProfileBin(now.time());
    if (m_date.isValid() && m_date != now.date())
        for (Channel& channel : m_channels)
            channel.dayProfile.fill({});
    m_date = now.date();
}

void SleepDecision::decide(Channel& channel, const FeatureSet& features, const QDateTime& now) const
{
    channel.decisionStat = decisionStatistic(m_config.animalType, features, channel.means);
    if (const auto bin = histogramBin(channel.decisionStat))
        channel.histogram[*bin] += 1.0;
    channel.stepCount += 1;
    const bool asleep = channel.decisionStat > 0.0;
    if (asleep) {
        channel.sleepCount += 1;
        if (!channel.sleeping)
            channel.sleepBeginTime = now;
    }
    channel.sleeping = asleep;
}

} // namespace vt
