// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/StepHistory.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vt {

namespace {

constexpr double StatUnits = 1000.0;
constexpr double RateUnits = 1000.0;
constexpr std::uint16_t NoRate = 65535; ///< 0 is a rate: of an animal whose breathing was not found
constexpr double HistogramLow = -10.0;
constexpr double HistogramWidth = 0.1;
constexpr int MinutesPerBin = 10;

enum Flag : std::uint8_t { Sleeping = 1, NoSignal = 2, Decided = 4 };

std::int16_t packStat(double stat)
{
    constexpr double Most = std::numeric_limits<std::int16_t>::max();
    if (std::isnan(stat))
        return 0;
    return static_cast<std::int16_t>(std::clamp(std::round(stat * StatUnits), -Most, Most));
}

std::uint16_t packRate(double hertz)
{
    constexpr double Most = NoRate - 1;
    if (!(hertz >= 0.0)) // NaN, too
        return NoRate;
    return static_cast<std::uint16_t>(std::min(std::round(hertz * RateUnits), Most));
}

} // namespace

StepHistory::Chunk::Chunk(int channels)
{
    const std::size_t values = StepsPerChunk * static_cast<std::size_t>(channels);
    timeMs.reserve(StepsPerChunk);
    stat.reserve(values);
    rate.reserve(values);
    power.reserve(values);
    flags.reserve(values);
}

void StepHistory::begin(int channels)
{
    m_channels = std::max(channels, 0);
    m_activityOnly = false;
    m_chunks.clear();
    m_dropped = 0;
    m_perChannel.assign(static_cast<std::size_t>(m_channels), {});
    m_newest.reset();
}

void StepHistory::append(const StepRecord& record)
{
    if (record.channels.size() != m_perChannel.size() || m_perChannel.empty())
        return;
    m_activityOnly = record.isActivityOnly;
    if (m_chunks.empty() || m_chunks.back()->timeMs.size() == StepsPerChunk) {
        if (m_chunks.size() == MostChunks) {
            m_dropped += m_chunks.front()->timeMs.size();
            m_chunks.pop_front();
        }
        m_chunks.push_back(std::make_unique<Chunk>(m_channels));
    }
    const bool isDecided = record.isDecided && !record.isActivityOnly;
    Chunk& chunk = *m_chunks.back();
    chunk.timeMs.push_back(record.time.toMSecsSinceEpoch());
    for (std::size_t c = 0; c < record.channels.size(); ++c) {
        const ChannelStep& step = record.channels[c];
        chunk.stat.push_back(packStat(step.decisionStat));
        chunk.rate.push_back(packRate(step.shownBreathRate));
        chunk.power.push_back(static_cast<float>(step.features.signalPower));
        chunk.flags.push_back(static_cast<std::uint8_t>(
            (step.sleeping ? Sleeping : 0) | (step.noSignal ? NoSignal : 0) | (isDecided ? Decided : 0)));
        count(m_perChannel[c], step, isDecided, record.time);
    }
    m_newest = record;
}

void StepHistory::count(Channel& channel, const ChannelStep& step, bool isDecided,
                        const QDateTime& time) const
{
    ActivityBin& dayBin = channel.days[time.date()][static_cast<std::size_t>(
        (time.time().hour() * 60 + time.time().minute()) / MinutesPerBin)];
    if (std::isfinite(step.activityIndex)) {
        dayBin.sum += static_cast<float>(step.activityIndex);
        ++dayBin.count;
    }
    if (isDecided) {
        ++dayBin.scored;
        dayBin.asleep = static_cast<std::int16_t>(dayBin.asleep + (step.sleeping ? 1 : 0));
    }
    if (channel.days.size() > static_cast<std::size_t>(MostDays))
        channel.days.erase(channel.days.begin());
    if (!isDecided) {
        channel.wasAsleep = false;
        channel.totals.stateSinceMs = 0;
        return;
    }
    if (channel.totals.stateSinceMs == 0 || step.sleeping != channel.wasAsleep)
        channel.totals.stateSinceMs = time.toMSecsSinceEpoch();
    ++channel.totals.steps;
    channel.totals.asleep += step.sleeping ? 1 : 0;
    channel.totals.bouts += step.sleeping && !channel.wasAsleep ? 1 : 0;
    channel.wasAsleep = step.sleeping;
    const double bin = std::floor((step.decisionStat - HistogramLow) / HistogramWidth);
    if (bin >= 0.0 && bin < HistogramBins)
        ++channel.histogram[static_cast<std::size_t>(bin)];
}

std::size_t StepHistory::size() const
{
    return m_chunks.empty() ? 0 : (m_chunks.size() - 1) * StepsPerChunk + m_chunks.back()->timeMs.size();
}

qint64 StepHistory::timeMs(std::size_t index) const
{
    return m_chunks[index / StepsPerChunk]->timeMs[index % StepsPerChunk];
}

StepHistory::Step StepHistory::step(std::size_t index, int channel) const
{
    const Chunk& chunk = *m_chunks[index / StepsPerChunk];
    const std::size_t at =
        index % StepsPerChunk * static_cast<std::size_t>(m_channels) + static_cast<std::size_t>(channel);
    const std::uint16_t rate = chunk.rate[at];
    return {chunk.stat[at] / StatUnits,
            rate != NoRate ? rate / RateUnits : std::numeric_limits<double>::quiet_NaN(),
            static_cast<double>(chunk.power[at]),
            (chunk.flags[at] & Sleeping) != 0,
            (chunk.flags[at] & NoSignal) != 0,
            (chunk.flags[at] & Decided) != 0};
}

std::size_t StepHistory::indexAt(qint64 wanted) const
{
    // The clock may have been set back, so this is a search for one such place, not for the only one.
    std::size_t low = 0;
    std::size_t high = size();
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        if (timeMs(middle) < wanted)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

StepHistory::Totals StepHistory::totals(int channel) const
{
    return m_perChannel[static_cast<std::size_t>(channel)].totals;
}

const std::array<int, StepHistory::HistogramBins>& StepHistory::histogram(int channel) const
{
    return m_perChannel[static_cast<std::size_t>(channel)].histogram;
}

const std::map<QDate, StepHistory::ActivityDay>& StepHistory::activityDays(int channel) const
{
    return m_perChannel[static_cast<std::size_t>(channel)].days;
}

std::size_t StepHistory::bytes() const
{
    const std::size_t perStep = sizeof(qint64) + static_cast<std::size_t>(m_channels) *
                                                     (sizeof(std::int16_t) + sizeof(std::uint16_t) +
                                                      sizeof(float) + sizeof(std::uint8_t));
    return m_chunks.size() * StepsPerChunk * perStep;
}

} // namespace vt
