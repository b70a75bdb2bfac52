// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"

#include <QWidget>

class QLabel;
class QPushButton;

namespace vt {

class Card;
class MarkerPanel;
class ReportCard;

/// The side of the window during a recording: markers, stimulation, sensors and cameras, and afterwards the
/// report. It only shows and asks. Interface thread.
class RecordingPanel : public QWidget
{
    Q_OBJECT
public:
    explicit RecordingPanel(QWidget* parent = nullptr);

    [[nodiscard]] MarkerPanel* markers() const { return m_markers; }
    void setStatus(const SessionStatus& status);
    [[nodiscard]] ReportCard* report() const { return m_report; }

signals:
    void stimulateRequested();

private:
    [[nodiscard]] Card* buildStimulation();
    [[nodiscard]] Card* buildAround();
    void showStimulation(const StimulationStatus& stimulation, bool isPaused);
    void showAround(const SessionStatus& status);

    MarkerPanel* m_markers;
    ReportCard* m_report;
    Card* m_stimulationCard = nullptr; ///< hidden while none is set up for the recording that runs
    QLabel* m_stimulation = nullptr;
    QPushButton* m_stimulate = nullptr;
    QLabel* m_sensors = nullptr;
    QLabel* m_cameras = nullptr;
};

} // namespace vt
