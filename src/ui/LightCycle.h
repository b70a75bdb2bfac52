// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QColor>
#include <QTime>
#include <utility>
#include <vector>

namespace vt {

struct Theme;

/// When the lights of the animals' room are on, by the local clock. Both times the same, or one invalid: no
/// cycle is known, and nothing is dark.
struct LightCycle
{
    QTime lightOn;
    QTime darkOn;

    [[nodiscard]] bool isKnown() const { return lightOn.isValid() && darkOn.isValid() && lightOn != darkOn; }
    /// Dark parts of a day in hours, ascending: one, or two when the dark phase passes midnight.
    [[nodiscard]] std::vector<std::pair<double, double>> darkHours() const;
    /// Dark parts of a stretch of time, ms since the epoch.
    [[nodiscard]] std::vector<std::pair<qint64, qint64>> darkPeriods(qint64 fromMs, qint64 toMs) const;
};

/// Light is the lighter one in every theme.
struct LightColors
{
    QColor on;
    QColor off;
    [[nodiscard]] static LightColors of(const Theme& theme);
};

} // namespace vt
