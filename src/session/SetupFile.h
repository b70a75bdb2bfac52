// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "camera/CameraSettings.h"
#include "hardware/StimulationSettings.h"
#include "session/SessionTypes.h"

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QTime>
#include <optional>
#include <variant>

/// Setup files (".vtconfig"): everything the user set up for a recording, as an indented JSON object in
/// UTF-8. Pure functions but for readSetupFile and writeSetupFile, which may block on the disk; no dialogs.
/// Any thread. docs/settings.md lists the keys and their ranges.
namespace vt {

/// Contents of a setup file. What the file does not hold stays empty and changes nothing when applied.
struct SetupFileContents
{
    int channelCount = 0;  ///< of the device, whether or not all of them are recorded
    QStringList animalIds; ///< one per channel; empty ones stand for the channel's number
    QTime lightOnset;      ///< both invalid when the file holds no light cycle
    QTime darkOnset;
    std::optional<QMap<QString, QString>> envSensorLabels; ///< serial number -> label
    std::optional<VexioSettings> vexio;
    std::optional<DioSettings> dio;
    std::optional<VideoSettings> video;
    /// "VEXIO config could not be applied: ..." when that object alone is wrong; the rest holds.
    QString vexioProblem;
    /// The file's object as read: keys that this version does not know survive a later save.
    QJsonObject original;
};

/// What the user is told, without the dialog's "Could not load the configuration." around it.
struct SetupFileError
{
    QString text;
    bool isForOtherUnit = false; ///< only the number of channels differs, as far as was looked
};

/// deviceChannelCount: of the selected device; the file must have been saved for as many.
[[nodiscard]] std::variant<SetupFileContents, SetupFileError> parseSetup(const QByteArray& json,
                                                                         int deviceChannelCount);
/// savedAt is written in UTC. Keys in a fixed order, unknown ones of contents.original last. What contents
/// does not hold is written as it stands in contents.original, else with defaults: every key is there.
[[nodiscard]] QByteArray formatSetup(const SetupFileContents& contents, const QString& appVersion,
                                     const QDateTime& savedAt);

/// Refuses what is no regular file or is larger than 16 MiB.
[[nodiscard]] std::variant<SetupFileContents, SetupFileError> readSetupFile(const QString& path,
                                                                            int deviceChannelCount);
/// Replaces the file only when all of it could be written. The error text, or empty.
[[nodiscard]] QString writeSetupFile(const QString& path, const QByteArray& json);

/// What the contents hold replaces what is set up; the number of recorded channels, the base path and the
/// options, which no setup file knows, stay. setup.animalIds then has one ID for each of the device's
/// channels, which may be more than are recorded.
void applySetup(const SetupFileContents& contents, RecordingSetup& setup);

/// deviceChannelCount: what the device offers. Animal IDs that are missing become the channel's number.
[[nodiscard]] SetupFileContents setupContents(const RecordingSetup& setup, int deviceChannelCount);

/// path with ".vtconfig" appended where it is missing.
[[nodiscard]] QString withSetupExtension(const QString& path);

} // namespace vt
