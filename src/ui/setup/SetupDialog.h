// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"

#include <QDialog>

class QLabel;
class QPushButton;
class QTabWidget;

namespace vt {

class AnimalIdActions;
class CamerasTab;
class DevicePanel;
class SensorsTab;
class SetupFileActions;
class SetupPanel;
class StimulationTab;
class UserInteraction;

/// Sets up the next recording: unit, animals, file, sensors, cameras, stimulation. Holds the one setup of the
/// window, also while it is closed; setupPanel() gives it. What is changed in the open dialog holds when
/// recording starts, and is undone by "Cancel", but for the choice of the unit.
///
/// Not modal: messages of the session stay within reach. Interface thread; user outlives it.
class SetupDialog : public QDialog
{
    Q_OBJECT
public:
    enum Tab { BasicConfig, EnvSensors, Video, Stimulation };

    SetupDialog(UserInteraction& user, QWidget* parent);
    ~SetupDialog() override;

    [[nodiscard]] DevicePanel* devicePanel() const { return m_devices; }
    [[nodiscard]] SetupPanel* setupPanel() const { return m_setup; }
    [[nodiscard]] SetupFileActions* setupFileActions() const { return m_files; }
    [[nodiscard]] AnimalIdActions* animalIdActions() const { return m_ids; }
    [[nodiscard]] SensorsTab* sensorsTab() const { return m_sensors; }
    [[nodiscard]] CamerasTab* camerasTab() const { return m_cameras; }
    [[nodiscard]] StimulationTab* stimulationTab() const { return m_stimulation; }

    /// What the chosen unit answered, for all tabs.
    void setDevice(const DeviceDetails& details);
    /// While a recording runs or is prepared nothing can be changed.
    void setLocked(bool isLocked);

    /// Shows the dialog, or brings it to the front.
    void openAt(Tab tab);
    /// What is set up holds from now on, and sensors and cameras are told. Before a recording that is started
    /// elsewhere than here.
    void commit();
    [[nodiscard]] bool hasChanges() const;
    /// A recording was made: its name is used up and its length over, also for a later Cancel.
    void forgetRecording();

    /// Escape and "Cancel": asks before changes are lost.
    void reject() override;

signals:
    /// "Start Recording" was pressed, and what can be checked at once is right: record setupPanel()->setup().
    void startRequested();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    struct Kept
    {
        RecordingSetup setup;
        VideoSettings video;
        QString deviceName;
    };

    [[nodiscard]] QWidget* buildBasicConfig();
    [[nodiscard]] QWidget* buildButtons();
    void connectTabs();
    void showParts();
    /// Puts into the setup what only the tabs know: labels of sensors, settings of cameras.
    void followFilm(const QString& mac, bool isOn);
    void carryParts();
    void keep();
    void discard();
    void start();
    [[nodiscard]] QString whyNotReady() const;

    UserInteraction& m_user;
    QTabWidget* m_tabs;
    DevicePanel* m_devices = nullptr;
    SetupPanel* m_setup = nullptr;
    SetupFileActions* m_files = nullptr;
    AnimalIdActions* m_ids = nullptr;
    SensorsTab* m_sensors = nullptr;
    CamerasTab* m_cameras = nullptr;
    StimulationTab* m_stimulation = nullptr;
    QLabel* m_lockedNote = nullptr;
    QPushButton* m_load = nullptr;
    QPushButton* m_start = nullptr;
    DeviceDetails m_device;
    Kept m_kept;
    bool m_isAsking = false;
};

} // namespace vt
