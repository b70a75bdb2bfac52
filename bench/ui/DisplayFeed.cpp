// SPDX-License-Identifier: GPL-3.0-or-later
#include "DisplayFeed.h"

#include "simulation/AnimalModel.h"

#include <QDateTime>

#include <array>
#include <cmath>
#include <limits>

namespace vt::bench {

namespace {

constexpr std::size_t RecordedSamples = std::size_t{60} * 120;
constexpr std::size_t TraceLength = 131072;
constexpr int Decimation = 5;
constexpr int DaySteps = 43200;
constexpr std::size_t FrameSamples = 4;

/// A minute of one animal at 120 Hz.
std::vector<float> record(std::uint64_t seed)
{
    AnimalModel animal(AnimalMouse, seed);
    std::vector<double> samples(RecordedSamples * Decimation);
    animal.generate(samples.data(), samples.size());
    std::vector<float> result;
    result.reserve(RecordedSamples);
    for (std::size_t i = 0; i < samples.size(); i += Decimation)
        result.push_back(static_cast<float>(samples[i]));
    return result;
}

TraceSource newestOf(std::vector<const DisplayTrace*> traces)
{
    return [traces = std::move(traces)](int channel, std::span<float> out) {
        return traces[static_cast<std::size_t>(channel)]->copyNewest(out);
    };
}

} // namespace

DisplayFeed::Channel::Channel() : raw(TraceLength), breathing(TraceLength), activity(TraceLength) {}

DisplayFeed::DisplayFeed(int channels)
{
    for (int channel = 0; channel < channels; ++channel) {
        m_channels.push_back(std::make_unique<Channel>());
        m_channels.back()->recorded = record(static_cast<std::uint64_t>(channel) + 1);
    }
    for (std::size_t i = 0; i < TraceLength / FrameSamples; ++i)
        pushFrame();
    m_history.begin(channels);
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    for (int step = DaySteps; step > 0; --step)
        append(now - qint64{2000} * step);
}

void DisplayFeed::pushFrame()
{
    for (const auto& channel : m_channels) {
        std::array<double, FrameSamples> block{};
        for (std::size_t i = 0; i < block.size(); ++i)
            block[i] = static_cast<double>(channel->recorded[(m_played + i) % RecordedSamples]);
        channel->raw.push(block);
        for (double& value : block)
            value *= 0.6;
        channel->breathing.push(block);
        channel->activity.push(block);
    }
    m_played += FrameSamples;
}

void DisplayFeed::pushStep()
{
    append(QDateTime::currentMSecsSinceEpoch());
}

void DisplayFeed::append(qint64 timeMs)
{
    StepRecord record;
    record.time = QDateTime::fromMSecsSinceEpoch(timeMs);
    record.isDecided = true;
    ++m_steps;
    for (std::size_t c = 0; c < m_channels.size(); ++c) {
        // Sleep and wake alternate every quarter of an hour or so, with a little noise on everything.
        const double phase =
            std::sin(m_steps / (120.0 + 11.0 * static_cast<double>(c)) + static_cast<double>(c));
        const double noise = std::sin(m_steps * 12.9898 + static_cast<double>(c)) * 0.3;
        ChannelStep step;
        step.decisionStat = 2.0 * phase + noise;
        step.sleeping = step.decisionStat > 0;
        step.features = {-2.1 - noise, 0.42 + noise / 3,
                         0.31,         0.0523,
                         2.4 + noise,  0.05 * (1.6 - phase) + noise / 50,
                         0.0,          0.0,
                         0.0};
        step.activityIndex = 1.0 + noise;
        step.shownBreathRate =
            step.sleeping ? step.features.breathRate : std::numeric_limits<double>::quiet_NaN();
        record.channels.push_back(step);
        m_channels[c]->asleep = step.sleeping;
        m_channels[c]->stat = step.decisionStat;
    }
    m_history.append(record);
}

QStringList DisplayFeed::animalIds() const
{
    QStringList ids;
    for (std::size_t channel = 1; channel <= m_channels.size(); ++channel)
        ids << QStringLiteral("M-%1").arg(100 + static_cast<int>(channel));
    return ids;
}

TraceSource DisplayFeed::rawSource() const
{
    return sources().raw;
}

ChannelSources DisplayFeed::sources() const
{
    std::vector<const DisplayTrace*> raw;
    std::vector<const DisplayTrace*> breathing;
    std::vector<const DisplayTrace*> activity;
    for (const auto& channel : m_channels) {
        raw.push_back(&channel->raw);
        breathing.push_back(&channel->breathing);
        activity.push_back(&channel->activity);
    }
    return {newestOf(raw), newestOf(breathing), newestOf(activity), &m_history, AnimalMouse, false};
}

std::vector<ChannelSummary> DisplayFeed::summaries() const
{
    std::vector<ChannelSummary> result;
    for (const auto& channel : m_channels) {
        ChannelSummary summary;
        summary.steps = m_steps;
        summary.sleeping = channel->asleep;
        result.push_back(summary);
    }
    return result;
}

} // namespace vt::bench
