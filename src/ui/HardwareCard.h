// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/UnitHealth.h"
#include "ui/Card.h"

#include <vector>

class QLabel;
class QPushButton;

namespace vt {

class ToggleSwitch;

/// The health of the chosen unit and of what hangs on it, at a glance: one quiet line when no fault is known,
/// else a line for each fault, in words and with a sign. Also the switch of the cage light and the way to the
/// diagnostics. Knows plain values only. Interface thread.
class HardwareCard : public Card
{
    Q_OBJECT
public:
    explicit HardwareCard(QWidget* parent = nullptr);

    /// Without a unit and without problems there is nothing to see of the card.
    void setUnit(const QString& name);
    void setProblems(const std::vector<HardwareProblem>& problems);
    /// isUsable: the unit has a light and can be reached.
    void setLight(bool isUsable, bool isOn);

signals:
    /// The switch shows the new state when setLight has told it.
    void lightToggleRequested();
    void diagnosticsRequested();

private:
    void showSummary();
    void showProblems();

    QPushButton* m_diagnostics;
    QLabel* m_summary;
    QWidget* m_lines;
    ToggleSwitch* m_light;
    QString m_unit;
    std::vector<HardwareProblem> m_problems;
    bool m_isLightOn = false;
};

} // namespace vt
