// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"

#include <QWidget>

class QPushButton;

namespace vt {

/// Start, stop and marker: the three things that a person does with a recording. Interface thread.
class ControlBar : public QWidget
{
    Q_OBJECT
public:
    explicit ControlBar(QWidget* parent = nullptr);

    /// Enables what makes sense in this state.
    void setState(SessionState state);
    /// Whether this kind of device comes with a marker file; else the button says why there are no markers.
    void setDevice(const DeviceDetails& details);

signals:
    void startRequested();
    void stopRequested();
    /// Also by the key M, unless a text field has the focus.
    void markerRequested();

private:
    QPushButton* m_start;
    QPushButton* m_stop;
    QPushButton* m_marker;
    SessionState m_state = SessionState::Idle;
    bool m_hasMarkers = true;
};

} // namespace vt
