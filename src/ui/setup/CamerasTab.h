// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/CameraSession.h"

#include <QPointer>
#include <QWidget>
#include <functional>
#include <memory>

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QStackedWidget;
class QTableWidget;

namespace vt {

class CameraView;
class Card;
class ToggleSwitch;

/// Feeds a view with the live pictures of a camera for as long as the returned object lives. The view says
/// when it wants pictures (CameraView::wanted); when it is visible it does so from the start.
using CameraStreamFactory = std::function<std::unique_ptr<QObject>(CameraView& view, const QString& mac)>;

/// With the session's cameras and their password. Both outlive the factory and what it makes.
[[nodiscard]] CameraStreamFactory liveCameraStreams(CameraSession& session, TimeSource& time);

/// The setup's tab "Video": which camera films which cage and how, its live picture, the cameras' password.
/// Changes are a draft until commit, but for the password, without which there is no picture. Interface
/// thread.
class CamerasTab : public QWidget
{
    Q_OBJECT
public:
    explicit CamerasTab(QWidget* parent = nullptr);
    ~CamerasTab() override;

    /// Follows the session's cameras, and writes to it at commit. session outlives the tab, or is unbound by
    /// null.
    void bind(CameraSession* session);
    void setStreamFactory(CameraStreamFactory factory);
    void setCameras(std::vector<CameraStatus> cameras);
    void setChannelCount(int count);
    /// While a recording runs pictures are shown, cameras are turned on and off at once, and the password can
    /// be set: the camera may have been given another. Nothing else is changed.
    void setLocked(bool isLocked);

    /// Settings of cameras that are not there are kept.
    [[nodiscard]] const VideoSettings& settings() const { return m_draft.settings(); }
    /// Returns what of it contradicts itself and was left out, in words for the user; empty: nothing.
    QString showSettings(const VideoSettings& settings);
    void commit();

    void showScanStarted();
    void showScanFinished(int found, const QString& error);

signals:
    /// By the user.
    void changed();
    void rescanRequested();
    /// By the user while a recording runs, and made.
    void filmChosen(const QString& mac, bool isOn);
    void passwordChosen(const QString& password);

protected:
    bool event(QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    [[nodiscard]] Card* buildList();
    [[nodiscard]] Card* buildDetails();
    [[nodiscard]] Card* buildAccess();
    void connectDetails();
    void readSession();
    void showTable();
    void showDetails();
    void showResolutions(const CameraEntry& entry, const QStringList& supported);
    void startStream();
    void setFilming(bool isOn);
    [[nodiscard]] QString selectedMac() const;
    [[nodiscard]] CameraEntry entryOf(const QString& mac) const;
    [[nodiscard]] const CameraStatus* statusOf(const QString& mac) const;
    /// Tells why a change was refused, and shows what holds.
    void handleChange(const QString& refusal);
    void setPassword();
    void tellWatched();

    QPointer<CameraSession> m_session;
    CameraStreamFactory m_factory;
    std::unique_ptr<QObject> m_stream;
    QString m_streamed; ///< camera and address

    QTableWidget* m_table;
    QStackedWidget* m_tableOrHint;
    QLabel* m_hint;
    QLabel* m_scan;
    QPushButton* m_rescan;
    QWidget* m_form;
    ToggleSwitch* m_enabled;
    QComboBox* m_channel;
    QComboBox* m_resolution;
    QComboBox* m_rotation;
    QLabel* m_refusal;
    CameraView* m_view;
    QSpinBox* m_segment;
    QLineEdit* m_password;
    QPushButton* m_setPassword;
    QLabel* m_passwordNote;

    std::vector<CameraStatus> m_cameras;
    CameraTable m_draft;
    int m_channelCount = 0;
    bool m_isScanning = false;
    bool m_isLocked = false;
    bool m_filling = false;
};

} // namespace vt
