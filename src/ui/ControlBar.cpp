// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/ControlBar.h"

#include "ui/Theme.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QShortcut>

namespace vt {

ControlBar::ControlBar(QWidget* parent)
    : QWidget(parent), m_start(new QPushButton(tr("&Start Recording"), this)),
      m_stop(new QPushButton(tr("S&top"), this)), m_marker(new QPushButton(tr("&Marker"), this))
{
    m_start->setObjectName(QStringLiteral("startButton"));
    m_start->setToolTip(tr("Start recording with this unit and file (Ctrl+R)"));
    m_start->setAccessibleName(tr("Start Recording"));
    setKind(m_start, QStringLiteral("primary"));
    m_stop->setObjectName(QStringLiteral("stopButton"));
    m_stop->setToolTip(tr("Stop recording and close the files; asks first (Ctrl+Shift+R)"));
    m_stop->setAccessibleName(tr("Stop Recording"));
    setKind(m_stop, QStringLiteral("danger"));
    m_marker->setObjectName(QStringLiteral("markerButton"));
    m_marker->setAccessibleName(tr("Add marker"));
    setKind(m_marker, QStringLiteral("plain"));

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing::Small);
    layout->addWidget(m_start, 3);
    layout->addWidget(m_stop, 2);
    layout->addWidget(m_marker, 2);

    const auto onKey = [this](const QKeySequence& key, QPushButton* button) {
        // Through the button, so that the key works exactly when the button does, and shows as pressed.
        connect(new QShortcut(key, this), &QShortcut::activated, button, &QPushButton::animateClick);
    };
    onKey(QKeySequence(Qt::Key_M), m_marker);
    onKey(QKeySequence(Qt::CTRL | Qt::Key_R), m_start);
    onKey(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_R), m_stop);
    connect(m_start, &QPushButton::clicked, this, &ControlBar::startRequested);
    connect(m_stop, &QPushButton::clicked, this, &ControlBar::stopRequested);
    connect(m_marker, &QPushButton::clicked, this, &ControlBar::markerRequested);
    setDevice({});
}

void ControlBar::setDevice(const DeviceDetails& details)
{
    m_hasMarkers = details.kind == DeviceKind::NiUnit;
    m_marker->setToolTip(m_hasMarkers ? tr("Write a marker with the current time into the marker file (M)")
                                      : tr("Recordings from the serial amplifier have no marker file"));
    setState(m_state);
}

void ControlBar::setState(SessionState state)
{
    m_state = state;
    m_start->setEnabled(state == SessionState::Idle);
    m_stop->setEnabled(state != SessionState::Idle && state != SessionState::Stopping);
    m_marker->setEnabled(m_hasMarkers && state == SessionState::Recording);
}

} // namespace vt
