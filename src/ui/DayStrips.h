// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/HypnogramBins.h"
#include "ui/LightCycle.h"
#include "ui/Theme.h"

#include <QImage>
#include <optional>
#include <utility>
#include <vector>

namespace vt {

class StepHistory;

/// The last 24 hours of every channel as one strip each: sleep and wake, or the activity when sleep is not
/// scored. Sleep fills a column from below up to its share; wake is a pale field under a line; no signal is
/// hatched, not scored a dotted line: each can be told without colour. Interface thread.
class DayStrips
{
public:
    enum class Pattern { Asleep, Awake, NoSignal, NotScored, Activity, LightsOff };

    void begin(int channels, const LightCycle& cycle);
    void update(const StepHistory& history);

    [[nodiscard]] bool isActivityOnly() const { return m_isActivityOnly; }
    /// The time covered, ms since the epoch; both 0 before the first step.
    [[nodiscard]] std::pair<qint64, qint64> period() const;
    [[nodiscard]] const LightCycle& cycle() const { return m_cycle; }
    /// Changes with every update.
    [[nodiscard]] quint64 generation() const { return m_generation; }
    /// The strip of a channel; the size in device pixels.
    [[nodiscard]] QImage image(int channel, QSize size, double devicePixelRatio, const Theme& theme) const;
    /// What the strip shows at a place from 0 (24 hours ago) to 1 (now), in words.
    [[nodiscard]] QString textAt(int channel, double place) const;
    /// A sample of a pattern, for the legend; the size in device pixels.
    [[nodiscard]] static QImage sample(Pattern pattern, QSize size, double devicePixelRatio,
                                       const Theme& theme);

private:
    using Activity = std::vector<std::optional<double>>;
    void drawSleep(QImage& image, int channel, double devicePixelRatio, const Theme& theme) const;
    void drawActivity(QImage& image, int channel, double devicePixelRatio, const Theme& theme) const;

    HypnogramBins m_bins;
    LightCycle m_cycle;
    std::vector<Activity> m_activity; ///< per channel 144 bins, relative to the full height
    bool m_isActivityOnly = false;
    qint64 m_activityEndMs = 0;
    quint64 m_generation = 0;
};

} // namespace vt
