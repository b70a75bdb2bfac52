// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SetupFileDisk.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <functional>
#include <optional>

class QFileDialog;

namespace vt {

class SetupPanel;
class UserInteraction;

/// Loads and saves the panel's setup as a setup file. Files are read and written in the background, every
/// dialog is left to the event loop. Interface thread; panel and user outlive it.
class SetupFileActions : public QObject
{
    Q_OBJECT
public:
    SetupFileActions(SetupPanel& panel, UserInteraction& user, QObject* parent = nullptr);

    /// A setup file belongs to a number of channels, so nothing is loaded or saved without a usable device.
    void setDevice(const DeviceDetails& details);
    /// While a recording runs nothing is loaded.
    void setLocked(bool locked);
    /// Where the dialogs start.
    void setFolder(const QString& folder) { m_folder = folder; }

    /// Open the dialogs and return at once.
    void load();
    void save();
    /// What follows after a file was chosen. Asks before it replaces what the user changed, or, saving, a
    /// file that no dialog has asked about.
    void loadFrom(const QString& path);
    void saveTo(const QString& path);
    /// Changes a loaded setup before it is shown.
    using Adjustment = std::function<void(RecordingSetup&)>;
    /// Loads this file once, as soon as there is a usable device, now or later. Asks only about what the user
    /// changed meanwhile. A file for another number of channels is told and waits for the next device;
    /// loading another file ends the wait. adjust belongs to this one load.
    void loadOnceReady(const QString& path, const Adjustment& adjust = {});
    /// Does the panel show anything but what was last loaded, saved or accepted?
    [[nodiscard]] bool isChanged() const { return fingerprint() != m_kept; }
    /// A file is being read or written.
    [[nodiscard]] bool isBusy() const { return m_disk.isBusy(); }
    /// What the panel shows now is no change of the user's.
    void acceptPanel();

signals:
    /// A file in this folder was loaded or saved: remember it for the next start.
    void folderChosen(const QString& folder);
    /// The panel shows a loaded file's values.
    void loaded(const QString& path);
    /// One line for the status bar.
    void done(const QString& message);

private:
    [[nodiscard]] bool isReady();
    [[nodiscard]] QFileDialog* createDialog(const QString& title);
    [[nodiscard]] QByteArray fingerprint() const;
    struct Load
    {
        QString path;
        Adjustment adjust;
        bool waitsForUnit = false; ///< for one with as many channels as the file is for
    };
    /// Tells the user why, when the file cannot be loaded.
    void tell(const QString& problem);
    void loadWaiting();
    void read(const Load& load);
    void handleRead(const Load& load, const SetupFileDisk::ReadResult& result);
    void applyOrAsk(const SetupFileContents& contents, const Load& load);
    void apply(const SetupFileContents& contents, const Load& load);
    void askToReplace(const QString& path);
    void write(const QString& path);
    void remember(const QString& path);

    SetupPanel& m_panel;
    UserInteraction& m_user;
    QString m_folder;
    std::optional<Load> m_waiting; ///< to be loaded once there is a device
    QByteArray m_kept;             ///< fingerprint of the setup as last loaded or saved
    int m_channelCount = 0;
    int m_lastLoad = 0; ///< number of the newest request; older ones are dropped
    bool m_locked = false;
    SetupFileDisk m_disk;
};

} // namespace vt
