// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/StepRecord.h"

#include <QDate>
#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace vt {

/// The steps of a recording for displays: the newest week, in at most 64 MiB with 16 channels, and what is
/// counted over the whole recording. Memory is taken hour by hour. Interface thread.
class StepHistory
{
public:
    static constexpr int StepSeconds = 2;
    static constexpr std::size_t StepsPerChunk = 1800; ///< an hour
    static constexpr std::size_t MostChunks = 168;     ///< a week
    static constexpr int BinsPerDay = 144;             ///< of 10 minutes
    static constexpr int MostDays = 28;                ///< of binned activity

    /// One channel at one step, as kept: the statistic to 0.001 (within +-32), the rate to 1 mHz.
    struct Step
    {
        double decisionStat = 0.0;
        double breathRate = 0.0; ///< Hz, up to 65.534; NaN while awake or unknown
        double power = 0.0;
        bool sleeping = false;
        bool noSignal = false;
        bool isDecided = false; ///< scored, on data of its own segment
    };
    /// Over the whole recording, decided steps only.
    struct Totals
    {
        int steps = 0;
        int asleep = 0;
        int bouts = 0; ///< of sleep; one that a pause cuts counts as two
        /// When the newest step's state, asleep or awake, was found first; milliseconds since the epoch. 0:
        /// the newest step is not decided.
        qint64 stateSinceMs = 0;
        [[nodiscard]] double percentAsleep() const { return steps > 0 ? 100.0 * asleep / steps : 0.0; }
        /// Seconds; 0 without a bout.
        [[nodiscard]] double meanBoutSeconds() const
        {
            return bouts > 0 ? static_cast<double>(asleep) * StepSeconds / bouts : 0.0;
        }
    };
    struct ActivityBin
    {
        float sum = 0.0F;
        std::int16_t count = 0;  ///< steps with an activity; at most 300, or 600 when the clock is set back
        std::int16_t scored = 0; ///< decided steps
        std::int16_t asleep = 0; ///< of them
        [[nodiscard]] std::optional<double> mean() const
        {
            return count > 0 ? std::optional<double>(static_cast<double>(sum) / count) : std::nullopt;
        }
    };
    using ActivityDay = std::array<ActivityBin, BinsPerDay>;
    static constexpr int HistogramBins = 200; ///< of 0.1, from -10

    /// Forgets everything: a recording of so many channels begins.
    void begin(int channels);
    /// A record of another number of channels is ignored.
    void append(const StepRecord& record);

    [[nodiscard]] int channelCount() const { return m_channels; }
    [[nodiscard]] bool isActivityOnly() const { return m_activityOnly; }
    /// Steps kept. Number 0 is the oldest of them, which changes by an hour when the week is full: whoever
    /// remembers a step remembers firstNumber() + index.
    [[nodiscard]] std::size_t size() const;
    [[nodiscard]] quint64 firstNumber() const { return m_dropped; }
    /// Milliseconds since the epoch at which the step was computed.
    [[nodiscard]] qint64 timeMs(std::size_t index) const;
    [[nodiscard]] Step step(std::size_t index, int channel) const;
    /// First step kept that is not before the time; size() when all are.
    [[nodiscard]] std::size_t indexAt(qint64 timeMs) const;

    /// All that the newest step found out; nothing before the first.
    [[nodiscard]] const std::optional<StepRecord>& newest() const { return m_newest; }
    [[nodiscard]] Totals totals(int channel) const;
    /// Counts of the decision statistic, decided steps of the whole recording.
    [[nodiscard]] const std::array<int, HistogramBins>& histogram(int channel) const;
    /// Activity by calendar day, oldest first; the newest MostDays days.
    [[nodiscard]] const std::map<QDate, ActivityDay>& activityDays(int channel) const;
    /// Bytes held for steps.
    [[nodiscard]] std::size_t bytes() const;

private:
    struct Chunk
    {
        explicit Chunk(int channels);
        std::vector<qint64> timeMs;
        // One value per step and channel; the channels of a step together.
        std::vector<std::int16_t> stat;
        std::vector<std::uint16_t> rate; ///< mHz; 65535: none
        std::vector<float> power;
        std::vector<std::uint8_t> flags;
    };
    struct Channel
    {
        Totals totals;
        bool wasAsleep = false;
        std::array<int, HistogramBins> histogram{};
        std::map<QDate, ActivityDay> days;
    };
    void count(Channel& channel, const ChannelStep& step, bool isDecided, const QDateTime& time) const;

    int m_channels = 0;
    bool m_activityOnly = false;
    std::deque<std::unique_ptr<Chunk>> m_chunks;
    quint64 m_dropped = 0;
    std::vector<Channel> m_perChannel;
    std::optional<StepRecord> m_newest;
};

} // namespace vt
