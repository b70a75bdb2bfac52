// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/RecordingPanel.h"

#include "ui/Card.h"
#include "ui/MarkerPanel.h"
#include "ui/ReportCard.h"
#include "ui/StatusText.h"
#include "ui/Theme.h"

#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>

namespace vt {

namespace {

QLabel* addLine(Card* card, const QString& objectName)
{
    auto* label = new QLabel(card);
    label->setObjectName(objectName);
    label->setWordWrap(true);
    card->body()->addWidget(label);
    return label;
}

} // namespace

RecordingPanel::RecordingPanel(QWidget* parent)
    : QWidget(parent), m_markers(new MarkerPanel(this)), m_report(new ReportCard(this))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, spacing::Small, 0, 0);
    layout->setSpacing(spacing::Small);
    layout->addWidget(m_report); // what one wants to see when it comes
    layout->addWidget(m_markers, 1);
    layout->addWidget(buildStimulation());
    layout->addWidget(buildAround());
    setStatus({});
}

Card* RecordingPanel::buildStimulation()
{
    auto* card = m_stimulationCard = new Card(tr("Stimulation"), this);
    m_stimulate = new QPushButton(tr("Stimulate &Now"), card);
    m_stimulate->setObjectName(QStringLiteral("stimulateButton"));
    m_stimulate->setToolTip(tr("Stimulate all enabled cages once, whatever the protocol (Ctrl+T)"));
    setKind(m_stimulate, QStringLiteral("plain"));
    card->addHeaderWidget(m_stimulate);
    m_stimulation = addLine(card, QStringLiteral("stimulation"));
    connect(m_stimulate, &QPushButton::clicked, this, &RecordingPanel::stimulateRequested);
    return card;
}

Card* RecordingPanel::buildAround()
{
    auto* card = new Card(tr("Sensors and cameras"), this);
    m_sensors = addLine(card, QStringLiteral("sensors"));
    m_cameras = addLine(card, QStringLiteral("cameras"));
    return card;
}

void RecordingPanel::setStatus(const SessionStatus& status)
{
    showStimulation(status.stimulation,
                    status.state == SessionState::Paused || status.state == SessionState::Resuming);
    showAround(status);
}

void RecordingPanel::showStimulation(const StimulationStatus& stimulation, bool isPaused)
{
    using State = StimulationStatus::State;
    m_stimulate->setEnabled(stimulation.isRunning);
    const bool isSetUp = stimulation.state != State::NotSetUp;
    QString line = isSetUp && isPaused ? tr("Stimulation: waits for the acquisition unit")
                                       : statustext::stimulationText(stimulation);
    if (stimulation.stimulations > 0)
        line += tr("\nStimulations asked for: %1").arg(QLocale().toString(stimulation.stimulations));
    m_stimulation->setText(line);
    m_stimulationCard->setVisible(!line.isEmpty() || stimulation.isRunning);
    const bool works = stimulation.state == State::Unit || stimulation.state == State::Outputs;
    setEmphasis(m_stimulation, works ? Emphasis::Normal : Emphasis::Warning);
    m_stimulation->setToolTip(
        tr("Stimulations asked for: %1\nNot carried out by the stimulation unit: %2")
            .arg(QLocale().toString(stimulation.stimulations), QLocale().toString(stimulation.refused)));
}

void RecordingPanel::showAround(const SessionStatus& status)
{
    const SensorsStatus& sensors = status.sensors;
    m_sensors->setText(statustext::sensorsText(sensors));
    const bool isBad =
        sensors.missing > 0 || sensors.recordsLost > 0 || sensors.log == SensorsStatus::Log::Failed;
    setEmphasis(m_sensors, isBad                 ? Emphasis::Warning
                           : sensors.enabled > 0 ? Emphasis::Normal
                                                 : Emphasis::Muted);
    const CamerasStatus& cameras = status.cameras;
    const bool isRecording = status.state == SessionState::Recording ||
                             status.state == SessionState::Paused || status.state == SessionState::Resuming;
    m_cameras->setText(statustext::camerasText(cameras, isRecording));
    setEmphasis(m_cameras, isRecording && cameras.recording < cameras.enabled ? Emphasis::Warning
                           : cameras.enabled > 0                              ? Emphasis::Normal
                                                                              : Emphasis::Muted);
}

} // namespace vt
