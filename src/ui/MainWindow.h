// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionController.h"
#include "ui/RecordingPages.h"
#include "ui/StatusText.h"

#include <QByteArray>
#include <QMainWindow>
#include <QPalette>
#include <QTimer>

class QAction;
class QLabel;

namespace vt {

class ControlBar;
class DevicePanel;
class HardwareCard;
class LiveTraces;
class RecordingPages;
class RecordingPanel;
class SetupDialog;
class SetupFileActions;
class SetupPanel;
class SetupSummary;
class StatusStrip;
class WindowInteraction;

/// What the window takes from the settings at its start. It writes no settings itself: changes leave it as
/// signals.
struct WindowPreferences
{
    QString saveFileName;                   ///< "saveFileName"
    QByteArray geometry;                    ///< "geometry"
    bool autoResumeOnDaqDisconnect = false; ///< "autoResumeOnDaqDisconnect", as stored
    QString lastConfigDir = {};             ///< "SetupDialog/lastConfigDir"
    QString lastAnimalIdDir = {};           ///< of the list of animal IDs last taken
    QString logFile = {};                   ///< of this run; empty: there is none
};

/// The session's face: shows its state, passes on what the user wants. Never waits. Interface thread.
/// controller and user outlive the window.
class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    MainWindow(SessionController& controller, WindowInteraction& user,
               const WindowPreferences& preferences = {}, const RecordingSurroundings& surroundings = {},
               QWidget* parent = nullptr);
    ~MainWindow() override;

    /// Where the file dialog starts; chooses no name by itself.
    void setSaveFileName(const QString& basePath);
    /// Selects a device as a click in the list would.
    void chooseDevice(const QString& name);
    /// For a setup that comes from elsewhere: the command line, a setup file.
    [[nodiscard]] SetupPanel* setupPanel() const { return m_setup; }
    [[nodiscard]] SetupDialog* setupDialog() const { return m_dialog; }
    /// Loads and saves setup files.
    [[nodiscard]] SetupFileActions* setupFileActions() const { return m_setupFile; }
    [[nodiscard]] LiveTraces* liveTraces() const;
    [[nodiscard]] RecordingPages* pages() const { return m_pages; }
    /// For whoever cannot read a message or press a button: closes as soon as nothing is being written any
    /// more. Not during a recording, which is to be stopped first.
    void closeUnattended();

signals:
    /// The name of the next recording was chosen in the dialog: store it.
    void saveFileNameChosen(const QString& basePath);
    /// A setup file in this folder was loaded or saved: store it.
    void configDirChosen(const QString& folder);
    /// A list of animal IDs in this folder was taken: store it.
    void animalIdDirChosen(const QString& folder);
    /// The menu entry was used: store it for the next start.
    void autoResumeChosen(bool enabled);
    /// The window closes for good: store its geometry.
    void geometryToKeep(const QByteArray& geometry);

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void buildCentral(const RecordingSurroundings& surroundings);
    void buildSetup(const RecordingSurroundings& surroundings);
    [[nodiscard]] QWidget* buildSide();
    void buildStatusBar();
    void buildMenus(const WindowPreferences& preferences);
    void buildRecordingMenu();
    void buildHardwareMenu();
    void buildViewMenu();
    void connectPanels();
    void connectSession();
    void applyTheme();

    void handleState(SessionState state);
    void handleSegmentStarted(int segment);
    void handleRecordingEnded(EndReason reason);
    void closeUnlessCutShort();
    [[nodiscard]] bool areFilmsClosed();
    void closeWithFilms(quint64 gapsBefore);
    void handleMarker();
    void handleMarkerLabel(int event, const QString& label);
    void handleStimulateNow();
    void showDiagnostics();
    void refreshHardware(const SessionStatus& status);
    void handleAutoResume(bool enabled);
    void handleQuestionAnswered(const QString& id, int index);
    void refreshStatus();
    void updateSteps();
    void startRecording();

    SessionController& m_controller;
    WindowInteraction& m_user;
    ControlBar* m_controls = nullptr;
    StatusStrip* m_strip = nullptr;
    QWidget* m_side = nullptr; ///< the column at the left
    DevicePanel* m_devices = nullptr;
    SetupDialog* m_dialog = nullptr;
    SetupPanel* m_setup = nullptr; ///< in the dialog, as the next
    SetupFileActions* m_setupFile = nullptr;
    RecordingPages* m_pages = nullptr;
    RecordingPanel* m_recording = nullptr;
    HardwareCard* m_hardware = nullptr;
    SetupSummary* m_summary = nullptr;
    QLabel* m_indicator = nullptr;
    QLabel* m_simulated = nullptr;
    QAction* m_startAction = nullptr;
    QAction* m_stopAction = nullptr;
    QAction* m_markerAction = nullptr;
    QAction* m_stimulateAction = nullptr;
    QAction* m_lightAction = nullptr;
    QAction* m_freezeAction = nullptr;
    QAction* m_loadConfigAction = nullptr;
    QTimer m_statusTimer;
    DeviceDetails m_device;
    statustext::Scoring m_scoring = statustext::Scoring::SleepWake;
    bool m_askedToClose = false;  ///< the open stop question came from closing the window
    bool m_closeWhenIdle = false; ///< that question was answered with yes, or none was left to ask
    bool m_waitsForFilms = false; ///< and closes with them
    bool m_isUnattended = false;
    bool m_applyingTheme = false;
    QPalette m_themed; ///< the application's, for which the style sheet was made
};

} // namespace vt
