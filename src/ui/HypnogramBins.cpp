// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/HypnogramBins.h"

#include "session/StepHistory.h"

#include <algorithm>
#include <limits>

namespace vt {

namespace {

void increment(std::uint16_t& count)
{
    if (count < std::numeric_limits<std::uint16_t>::max())
        ++count;
}

void addStep(HypnogramCell& cell, const StepHistory::Step& step)
{
    if (step.noSignal)
        increment(cell.noSignal);
    else if (!step.isDecided)
        increment(cell.notScored);
    else
        increment(step.sleeping ? cell.asleep : cell.awake);
}

std::uint16_t sum(std::uint16_t a, std::uint16_t b)
{
    return static_cast<std::uint16_t>(
        std::min<int>(int{a} + int{b}, std::numeric_limits<std::uint16_t>::max()));
}

} // namespace

HypnogramCell::Kind HypnogramCell::kind() const
{
    const int scored = asleep + awake;
    if (scored + noSignal + notScored == 0)
        return Kind::Empty;
    if (noSignal > scored && noSignal >= notScored)
        return Kind::NoSignal;
    return scored >= notScored ? Kind::Scored : Kind::NotScored;
}

double HypnogramCell::asleepShare() const
{
    const int scored = asleep + awake;
    return scored > 0 ? static_cast<double>(asleep) / scored : 0.0;
}

void HypnogramBins::begin(int channels)
{
    m_channels = std::max(channels, 0);
    m_cells.assign(static_cast<std::size_t>(BinCount) * static_cast<std::size_t>(m_channels), {});
    m_newest = -1;
    m_nextStep = 0;
}

const HypnogramCell& HypnogramBins::cell(qint64 bin, int channel) const
{
    return m_cells[static_cast<std::size_t>(bin % BinCount) * static_cast<std::size_t>(m_channels) +
                   static_cast<std::size_t>(channel)];
}

HypnogramCell& HypnogramBins::cell(qint64 bin, int channel)
{
    return m_cells[static_cast<std::size_t>(bin % BinCount) * static_cast<std::size_t>(m_channels) +
                   static_cast<std::size_t>(channel)];
}

void HypnogramBins::advanceTo(qint64 bin)
{
    const qint64 from = m_newest < 0 ? bin : std::max(m_newest + 1, bin - BinCount + 1);
    for (qint64 fresh = from; fresh <= bin; ++fresh)
        for (int channel = 0; channel < m_channels; ++channel)
            cell(fresh, channel) = {};
    m_newest = bin;
}

void HypnogramBins::update(const StepHistory& history)
{
    if (history.channelCount() != m_channels || m_channels == 0 || history.size() == 0)
        return;
    std::size_t index =
        m_nextStep > history.firstNumber() ? static_cast<std::size_t>(m_nextStep - history.firstNumber()) : 0;
    const qint64 oldestMs = history.timeMs(history.size() - 1) - BinCount * BinMs;
    index = std::max(index, history.indexAt(oldestMs));
    for (; index < history.size(); ++index) {
        const qint64 bin = history.timeMs(index) / BinMs;
        if (bin > m_newest)
            advanceTo(bin);
        else if (bin <= m_newest - BinCount)
            continue; // the clock was set back by more than is shown
        for (int channel = 0; channel < m_channels; ++channel)
            addStep(cell(bin, channel), history.step(index, channel));
    }
    m_nextStep = history.firstNumber() + history.size();
}

std::vector<HypnogramCell> HypnogramBins::cells(int channel, int count) const
{
    std::vector<HypnogramCell> result(static_cast<std::size_t>(std::max(count, 0)));
    if (isEmpty() || channel < 0 || channel >= m_channels)
        return result;
    const qint64 oldest = m_newest - BinCount + 1;
    for (int column = 0; column < count; ++column) {
        const qint64 begin = qint64{column} * BinCount / count;
        const qint64 end = std::max((qint64{column} + 1) * BinCount / count, begin + 1);
        HypnogramCell& all = result[static_cast<std::size_t>(column)];
        for (qint64 bin = begin; bin < end; ++bin) {
            if (oldest + bin < 0)
                continue;
            const HypnogramCell& one = cell(oldest + bin, channel);
            all = {sum(all.asleep, one.asleep), sum(all.awake, one.awake), sum(all.noSignal, one.noSignal),
                   sum(all.notScored, one.notScored)};
        }
    }
    return result;
}

} // namespace vt
