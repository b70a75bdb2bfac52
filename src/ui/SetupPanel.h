// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/RecordingNameDisk.h"
#include "session/SessionTypes.h"
#include "ui/Card.h"

#include <QString>
#include <QStringList>
#include <optional>

class QComboBox;
class QLabel;
class QLayout;
class QPushButton;
class QSpinBox;
class QStackedWidget;
class QTableWidget;
class QTimeEdit;
class QVBoxLayout;

namespace vt {

class ElidedLabel;
class ToggleSwitch;

/// What the user chooses for the next recording: channels and animals, light cycle, options, file name.
/// Gives and takes plain values; stores nothing. Interface thread.
class SetupPanel : public QWidget
{
    Q_OBJECT
public:
    explicit SetupPanel(QWidget* parent = nullptr);

    /// Limits the channel count to what the unit offers and fixes the file name's extension. The animal type
    /// is asked for with a device that does not know it. A unit that is not usable leaves nothing to set up.
    void setDevice(const DeviceDetails& details);
    /// The channel count, 0 meaning all, is limited to what the unit offers, now or once one is chosen. One
    /// that differs from the present one counts as asked for, with the units that are chosen later, too.
    void setSetup(const RecordingSetup& setup);
    [[nodiscard]] RecordingSetup setup() const;
    /// The same with the animal IDs of all of the device's channels, for a setup file.
    [[nodiscard]] RecordingSetup setupToSave() const;
    /// What has no field here, from other parts of the setup.
    void setStimulation(const std::optional<VexioSettings>& vexio, const std::optional<DioSettings>& dio);
    void setVideo(const VideoSettings& video);
    void setEnvSensorLabels(const QMap<QString, QString>& labels);
    /// One for each recorded channel, as entered; empty stands for the channel's number.
    [[nodiscard]] QStringList animalIds() const { return m_ids.mid(0, channelCount()); }
    void setAnimalIds(const QStringList& ids);
    [[nodiscard]] int channelCount() const;
    /// Where other buttons do the same, these are hidden.
    void setConfigButtonsVisible(bool isVisible);
    /// Takes over what is still being typed into the table; for a start by a key.
    void finishEditing();

    /// Where the file dialog starts: the base path of the last recording. Does not choose that name, or the
    /// next recording would replace the last one.
    void setSuggestedPath(const QString& basePath);
    void setBasePath(const QString& basePath);
    /// No name any more, and no end after so many frames.
    void forgetRecording();
    [[nodiscard]] QString basePath() const { return m_basePath; }

    /// While a recording runs nothing can be changed.
    void setLocked(bool locked);
    /// Opens the file dialog and returns at once; basePathChosen follows when a name was accepted.
    void selectFile();

signals:
    /// The user chose a name in the dialog; to be remembered for the next start of the program.
    void basePathChosen(const QString& basePath);
    void setupChanged();
    /// setSetup has replaced everything, also what has no field here.
    void setupReplaced();
    /// The button above the animals.
    void importIdsRequested();
    /// The buttons of the setup file.
    void loadConfigRequested();
    void saveConfigRequested();

protected:
    void changeEvent(QEvent* event) override;

private:
    [[nodiscard]] Card* buildAnimals();
    [[nodiscard]] Card* buildFile();
    [[nodiscard]] QLayout* buildConfigButtons();
    void showWantedChannels();
    void setChannelCount(int count);
    void showAnimalTypeChoice(bool shown);
    [[nodiscard]] int animalType() const;
    [[nodiscard]] QStringList enteredAnimalIds() const;
    void showBasePath();
    void lookAtName(const QString& path);
    void refuseName(const QString& found);
    void takeName(const QString& base, const QString& replaceable);
    void askToReplace(const QString& base, const QString& raw, const QString& found);

    QSpinBox* m_channelCount;
    QLabel* m_animalTypeCaption; ///< with its field seen only when the device does not know the type
    QComboBox* m_animalTypeChoice;
    QTableWidget* m_animals;
    QStackedWidget* m_animalsOrHint;
    QTimeEdit* m_lightOn;
    QTimeEdit* m_darkOn;
    ToggleSwitch* m_activityOnly;
    ToggleSwitch* m_bandpass;
    ElidedLabel* m_fileName;
    ElidedLabel* m_folder;
    QPushButton* m_selectFile;
    QPushButton* m_importIds;
    QPushButton* m_loadConfig;
    QPushButton* m_saveConfig;
    RecordingSetup m_carried; ///< what has no field here is handed through
    QStringList m_ids;        ///< also those of rows that the channel count hides
    QString m_basePath;
    QString m_suggestedPath;
    int m_offeredChannels = 0;
    int m_wantedChannels = 0; ///< asked for by someone; 0: all
    int m_animalType = 0;
    bool m_locked = false;
    RecordingNameDisk m_names;
};

} // namespace vt
