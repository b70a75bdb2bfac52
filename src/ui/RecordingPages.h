// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionController.h"
#include "ui/StatusText.h"

#include <QStringList>
#include <QTabWidget>
#include <QTime>
#include <vector>

namespace vt {

class CameraSession;
class CamerasPage;
class EnvironmentSession;
class EnvironmentView;
class LiveTraces;
class SingleChannelView;
class SummaryView;

/// What a recording has around it. Any of them may be missing; what is there outlives the window.
struct RecordingSurroundings
{
    EnvironmentSession* sensors = nullptr;
    CameraSession* cameras = nullptr;
    /// Of the sensors' readings and the cameras' live pictures; null: the system's.
    TimeSource* time = nullptr;
};

/// Everything that shows a recording: live signals, one channel, summaries, the room, the cameras. Follows
/// the session by itself; pages that cannot be seen draw nothing. Interface thread.
class RecordingPages : public QTabWidget
{
    Q_OBJECT
public:
    enum Page { Live, Channel, Summary, Environment, Cameras };

    /// controller outlives the pages.
    RecordingPages(SessionController& controller, const RecordingSurroundings& surroundings,
                   QWidget* parent = nullptr);

    [[nodiscard]] LiveTraces* liveTraces() const { return m_live; }
    [[nodiscard]] SingleChannelView* singleChannel() const { return m_channel; }
    [[nodiscard]] EnvironmentView* environment() const { return m_environment; }

    /// Of the next recording.
    void setLightCycle(QTime lightOn, QTime darkOn);
    /// As often as the rest of the window is refreshed.
    void setChannels(const std::vector<ChannelSummary>& channels, statustext::Scoring scoring);
    /// Signals and single channel, whichever can be seen.
    void toggleFrozen();
    [[nodiscard]] bool canFreeze() const;
    /// Of the page that is open.
    [[nodiscard]] bool isFrozen() const;
    /// Opens the page of one channel, counted from 0.
    void showChannel(int channel);

signals:
    /// isFrozen() may have changed: a display was frozen or follows again, or another page is open.
    void frozenChanged();

private:
    void buildPages(const RecordingSurroundings& surroundings);
    void connectSession();
    void connectSensors(EnvironmentSession& sensors);
    void handleSegmentStarted(int segment);
    void handleSignalsStopped();
    void handleRecordingEnded(EndReason reason);
    void handleStep();
    void handleMarkers();
    void showSensors(const EnvironmentSession& sensors);
    [[nodiscard]] qint64 nowMs() const;

    SessionController& m_controller;
    const TimeSource* m_time;
    LiveTraces* m_live = nullptr;
    SingleChannelView* m_channel = nullptr;
    SummaryView* m_summary = nullptr;
    EnvironmentView* m_environment = nullptr;
    CamerasPage* m_cameras = nullptr;
    QTime m_lightOn{7, 0};
    QTime m_darkOn{19, 0};
    std::vector<QString> m_markerLabels; ///< as the traces show them
};

} // namespace vt
