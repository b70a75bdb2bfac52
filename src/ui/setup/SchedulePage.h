// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/ScheduleHours.h"

#include <QWidget>

class QComboBox;
class QLabel;
class QPushButton;

namespace vt {

class RadioGroup;
class ScheduleGrid;

/// When stimulation is allowed: at any time or in marked hours, for the stimulation unit and for digital
/// outputs alone. Entries that a grid of hours cannot show are kept, named, and can be removed. Interface
/// thread.
class SchedulePage : public QWidget
{
    Q_OBJECT
public:
    explicit SchedulePage(QWidget* parent = nullptr);

    void showSettings(const VexioSettings& vexio, const DioSettings& dio);
    /// An untouched schedule is written as it came.
    void collect(VexioSettings& vexio, DioSettings& dio) const;
    /// For the buttons that mark the light or the dark phase.
    void setLightCycle(QTime lightOnset, QTime darkOnset);

signals:
    void changed();

private:
    struct Edited
    {
        std::vector<StimulationWindow> asRead;
        HourSchedule hours;
        bool isTouched = false;
        [[nodiscard]] std::vector<StimulationWindow> windows() const
        {
            return isTouched ? scheduleWindows(hours) : asRead;
        }
    };
    enum Which { OfUnit, OfOutputs };

    [[nodiscard]] QWidget* buildChoice();
    [[nodiscard]] QWidget* buildTools();
    [[nodiscard]] Edited& edited();
    void touch();
    void mark(QTime from, QTime to);
    void setRestricted(bool isRestricted);
    void showCurrent();

    QComboBox* m_which;
    RadioGroup* m_restriction;
    ScheduleGrid* m_grid;
    QWidget* m_tools;
    QLabel* m_exact;
    QPushButton* m_removeExact;
    Edited m_edited[2];
    QTime m_lightOnset{7, 0};
    QTime m_darkOnset{19, 0};
};

} // namespace vt
