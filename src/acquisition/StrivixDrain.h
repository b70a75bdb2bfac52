// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

namespace vt {

/// Decides how the samples that arrive in bursts over USB leave at an even pace: how many go at each tick of
/// the drain timer, and when the next tick comes. The amplifier's clock is not ours, so the tick follows the
/// depth of the FIFO: about 160 samples (267 ms) are kept as a cushion. Pure; depths in samples per channel.
class StrivixDrain
{
public:
    static constexpr int NominalIntervalMs = 33;
    static constexpr int PrimedDepth = 160;

    struct Tick
    {
        int amount = 0;                     ///< samples per channel to hand on now
        int intervalMs = NominalIntervalMs; ///< until the next tick
        bool underrun = false;     ///< to be logged: the FIFO ran empty, for the first time since reset
        bool fastDrain = false;    ///< to be logged: the FIFO is cut back to 160
        std::optional<int> newLow; ///< to be logged: a depth below all before
    };

    /// As after construction.
    void reset() { *this = StrivixDrain(); }
    /// One tick of the drain timer; depth: before it. Steps that the depth does not allow leave the interval
    /// as it was.
    [[nodiscard]] Tick tick(int depth);
    /// After samples have arrived. True when this depth is a new high, to be logged.
    [[nodiscard]] bool noteArrival(int depth);

    [[nodiscard]] bool isPrimed() const { return m_isPrimed; }
    /// Times that the FIFO ran empty after it was primed.
    [[nodiscard]] int underruns() const { return m_underruns; }

    /// 33 ms at 160 samples, 1 ms less for every 5 above and more for every 5 below, 28..38 ms.
    [[nodiscard]] static int intervalMs(double smoothedDepth);

private:
    bool m_isPrimed = false;
    bool m_isUnderrunReported = false;
    bool m_isEmpty = false;
    int m_underruns = 0;
    double m_smoothedDepth = PrimedDepth; ///< starts where it shall stay
    int m_highWaterMark = 220;
    int m_lowWaterMark = 60;
    int m_intervalMs = NominalIntervalMs;
};

} // namespace vt
