// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/DisplayTrace.h"
#include "session/StepHistory.h"
#include "ui/SingleChannelView.h"
#include "ui/TraceHistory.h"

#include <QStringList>
#include <memory>
#include <vector>

namespace vt::bench {

/// Signals of simulated animals in the rings that displays read from, and a day of steps behind them.
class DisplayFeed
{
public:
    explicit DisplayFeed(int channels);

    /// The next samples: 4 of each channel, a 30th of a second.
    void pushFrame();
    /// The next step of 2 s.
    void pushStep();

    [[nodiscard]] QStringList animalIds() const;
    [[nodiscard]] TraceSource rawSource() const;
    [[nodiscard]] ChannelSources sources() const;
    [[nodiscard]] const StepHistory& history() const { return m_history; }
    [[nodiscard]] std::vector<ChannelSummary> summaries() const;

private:
    struct Channel
    {
        Channel();
        std::vector<float> recorded; ///< played again and again
        DisplayTrace raw;
        DisplayTrace breathing;
        DisplayTrace activity;
        bool asleep = false;
        double stat = -1.0;
    };
    void append(qint64 timeMs);

    std::vector<std::unique_ptr<Channel>> m_channels;
    StepHistory m_history;
    std::size_t m_played = 0;
    int m_steps = 0;
};

} // namespace vt::bench
