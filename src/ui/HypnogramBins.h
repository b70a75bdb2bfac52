// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QtGlobal>
#include <cstdint>
#include <vector>

namespace vt {

class StepHistory;

/// What one pixel column of a hypnogram stands for: how many steps of each kind.
struct HypnogramCell
{
    enum class Kind {
        Empty,     ///< nothing was recorded
        NotScored, ///< recorded, mostly without a decision
        NoSignal,  ///< mostly without a signal
        Scored
    };
    std::uint16_t asleep = 0;
    std::uint16_t awake = 0;
    std::uint16_t noSignal = 0;
    std::uint16_t notScored = 0;

    [[nodiscard]] Kind kind() const;
    /// 0 to 1, of the scored steps.
    [[nodiscard]] double asleepShare() const;
};

/// Sleep and wake of the last 24 hours, minute by minute and channel by channel, counted as steps come so
/// that a refresh costs what is new and not what is shown. Interface thread.
class HypnogramBins
{
public:
    static constexpr qint64 BinMs = 60'000;
    static constexpr int BinCount = 24 * 60;

    /// Forgets everything.
    void begin(int channels);
    /// Takes the steps that it does not have yet. A history of another number of channels is ignored.
    void update(const StepHistory& history);

    [[nodiscard]] int channelCount() const { return m_channels; }
    [[nodiscard]] bool isEmpty() const { return m_newest < 0; }
    /// End of the newest minute; ms since the epoch. The strip covers the 24 hours before.
    [[nodiscard]] qint64 endMs() const { return (m_newest + 1) * BinMs; }
    /// The 24 hours in so many equal parts, oldest first. More parts than minutes repeat minutes.
    [[nodiscard]] std::vector<HypnogramCell> cells(int channel, int count) const;

private:
    [[nodiscard]] HypnogramCell& cell(qint64 bin, int channel);
    [[nodiscard]] const HypnogramCell& cell(qint64 bin, int channel) const;
    void advanceTo(qint64 bin);

    int m_channels = 0;
    std::vector<HypnogramCell> m_cells; ///< a ring of minutes, the channels of a minute together
    qint64 m_newest = -1;               ///< minutes since the epoch; -1: none
    quint64 m_nextStep = 0;             ///< number, over the whole recording
};

} // namespace vt
