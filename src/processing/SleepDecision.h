// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/FeatureResult.h"
#include "processing/SleepRule.h"

#include <QDateTime>
#include <array>
#include <limits>
#include <span>
#include <vector>

namespace vt {

/// Activity index over 10 minutes of the day.
struct DayProfileBin
{
    double sum = 0.0;
    int count = 0;
};

/// Scores the channels of a recording step by step and keeps their long-term state: running means, presence
/// of a sensor signal, activity baseline, histogram, counts and day profile.
/// Processing thread; time comes in from outside. Allocates at construction only.
class SleepDecision
{
public:
    struct Config
    {
        int channelCount = 0;
        int animalType = 1;
        SensorAmplifier amplifier = SensorAmplifier::NiDevice;
        SessionKind kind = SessionKind::SleepScoring;
    };
    struct Channel
    {
        RunningMeans means;
        double decisionStat = 0.0;
        double activityIndex = std::numeric_limits<double>::quiet_NaN(); ///< of the last step; NaN: none yet
        bool sleeping = false;
        QDateTime sleepBeginTime; ///< invalid until the channel first falls asleep
        int sleepCount = 0;
        int stepCount = 0;
        std::array<double, HistogramBins> histogram{};
        int presenceCounter = 0;
        bool noSignal = false;
        ActivityBaseline baseline;
        std::array<DayProfileBin, DayProfileBins> dayProfile{};
    };

    explicit SleepDecision(const Config& config);

    /// One 2-s step of one channel; the channels of a step in order, channel 0 first. now: local time of the
    /// step. A change of the calendar date, noticed at channel 0, empties all day profiles.
    void step(int channel, const FeatureResult& result, const QDateTime& now);

    [[nodiscard]] const Channel& channel(int index) const
    {
        return m_channels[static_cast<std::size_t>(index)];
    }
    /// What the breath-rate trace shows for the last step: NaN while awake, so that the trace has gaps. A
    /// statistic of exactly 0 is awake and shows its rate all the same.
    [[nodiscard]] double shownBreathRate(int index, double breathRateHz) const;

private:
    void beginStep(const QDateTime& now);
    void decide(Channel& channel, const FeatureSet& features, const QDateTime& now) const;

    Config m_config;
    std::vector<Channel> m_channels;
    int m_warmUpSteps = 0; ///< of channel 0, up to 2: the activity index starts with the second step
    std::size_t m_bin = 0;
    QDate m_date;
};

} // namespace vt
