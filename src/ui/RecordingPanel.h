// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"

#include <QWidget>

class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace vt {

class Card;
class MarkerPanel;

/// The side of the window during a recording: markers, stimulation, sensors and cameras, and afterwards the
/// report. It only shows and asks. Interface thread.
class RecordingPanel : public QWidget
{
    Q_OBJECT
public:
    explicit RecordingPanel(QWidget* parent = nullptr);

    [[nodiscard]] MarkerPanel* markers() const { return m_markers; }
    void setStatus(const SessionStatus& status);
    /// Of the recording that has ended; empty: none.
    void setReport(const QString& report);

signals:
    void stimulateRequested();

private:
    [[nodiscard]] Card* buildStimulation();
    [[nodiscard]] Card* buildAround();
    [[nodiscard]] Card* buildReport();
    void showStimulation(const StimulationStatus& stimulation);
    void showAround(const SessionStatus& status);

    MarkerPanel* m_markers;
    QLabel* m_stimulation = nullptr;
    QPushButton* m_stimulate = nullptr;
    QLabel* m_sensors = nullptr;
    QLabel* m_cameras = nullptr;
    Card* m_reportCard = nullptr;
    QPlainTextEdit* m_report = nullptr;
};

} // namespace vt
