// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "camera/CameraSettings.h"
#include "hardware/StimulationSettings.h"

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
/// UTF-8. Pure functions but for readSetupFile and writeSetupFile; no dialogs. Any thread.
namespace vt {

/// Contents of a setup file. What the file does not hold stays empty and changes nothing when applied.
struct SetupFileContents
{
    int channelCount = 0;
    QStringList animalIds; ///< one per channel
    QTime lightOnset{7, 0};
    QTime darkOnset{19, 0};
    QMap<QString, QString> envSensorLabels; ///< serial number -> label
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
};

/// deviceChannelCount: of the selected device; the file must have been saved for as many.
[[nodiscard]] std::variant<SetupFileContents, SetupFileError> parseSetup(const QByteArray& json,
                                                                         int deviceChannelCount);
/// savedAt is written in UTC. Keys in a fixed order, unknown ones of contents.original last.
[[nodiscard]] QByteArray formatSetup(const SetupFileContents& contents, const QString& appVersion,
                                     const QDateTime& savedAt);

[[nodiscard]] std::variant<SetupFileContents, SetupFileError> readSetupFile(const QString& path,
                                                                            int deviceChannelCount);
/// Replaces the file only when all of it could be written. The error text, or empty.
[[nodiscard]] QString writeSetupFile(const QString& path, const QByteArray& json);

/// path with ".vtconfig" appended where it is missing.
[[nodiscard]] QString withSetupExtension(const QString& path);

} // namespace vt
