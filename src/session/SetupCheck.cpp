// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/SetupCheck.h"

#include "acquisition/AcquisitionFrame.h"
#include "platform/ExclusiveProbe.h"
#include "recording/FileUtils.h"
#include "recording/RecordedFiles.h"
#include "recording/SegmentPaths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace vt {

namespace {

QString text(const char* source)
{
    return QCoreApplication::translate("SetupCheck", source);
}

QString checkFolder(const QFileInfo& folder)
{
    if (!folder.exists())
        return text("The folder '%1' does not exist.").arg(folder.filePath());
    if (!folder.isDir())
        return text("'%1' is not a folder.").arg(folder.filePath());
    if (FileUtils::isWriteProtected(folder.filePath()))
        return text("The folder '%1' is not writable.").arg(folder.filePath());
    return {};
}

QString checkLength(const QString& basePath)
{
    // The tightest limits of the file systems in use: 255 bytes a name, 4096 a path; the longest ending that
    // is appended is " (99)_daq.Tstamp".
    constexpr qsizetype endingBytes = 16;
    constexpr qsizetype nameBytes = 255 - endingBytes;
    constexpr qsizetype pathBytes = 4095 - endingBytes;
    const auto bytes = QFile::encodeName(basePath).size();
    if (bytes > pathBytes)
        return text("The recording's path is too long: %1 bytes, at most %2 are possible.")
            .arg(bytes)
            .arg(pathBytes);
    const auto nameSize = QFile::encodeName(QFileInfo(basePath).fileName()).size();
    if (nameSize > nameBytes)
        return text("The recording's file name is too long: %1 bytes, at most %2 are possible.")
            .arg(nameSize)
            .arg(nameBytes);
    return {};
}

} // namespace

QString checkSetupValues(const RecordingSetup& setup, const DeviceDetails& device)
{
    if (device.name.isEmpty())
        return text("Select a DAQ device on the Basic Config tab.");
    if (setup.channelCount < 1 || setup.channelCount > MaxChannels)
        return text("%1 channels were asked for; 1 to %2 can be recorded.")
            .arg(setup.channelCount)
            .arg(MaxChannels);
    if (setup.channelCount > device.offeredChannels)
        return text("%1 channels were asked for; %2 offers %3.")
            .arg(QString::number(setup.channelCount), device.name, QString::number(device.offeredChannels));
    if (setup.animalIds.size() > setup.channelCount)
        return text("%1 animal IDs were given for %2 channels.")
            .arg(setup.animalIds.size())
            .arg(setup.channelCount);
    if (!setup.lightOnset.isValid() || !setup.darkOnset.isValid())
        return text("The light cycle's times are not valid.");
    return {};
}

QString checkRecordingPath(const QString& basePath, int animalType)
{
    if (basePath.isEmpty())
        return text(
            "Choose where to save the recording on the Basic Config tab.\nClick \"Select File...\" to "
            "choose a location.");
    if (basePath.contains(QChar(0)))
        return text("The recording's path contains a null character.");
    if (QString problem = checkLength(basePath); !problem.isEmpty())
        return problem;
    const QFileInfo base(basePath);
    if (base.fileName().isEmpty() || base.isDir())
        return text("'%1' is a folder; a file name is needed.").arg(basePath);
    if (QString problem = checkFolder(QFileInfo(base.absolutePath())); !problem.isEmpty())
        return problem;
    const SegmentPaths paths = segmentPaths(basePath, animalType);
    for (const QString& path :
         {paths.raw, paths.featureVector, paths.activity, paths.breathRate, paths.timeStamps})
        if (QString problem = checkExistingFile(path); !problem.isEmpty())
            return problem;
    return {};
}

QString checkExistingFile(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return {};
    if (!info.isFile())
        return text("'%1' exists and is not a file.").arg(path);
    if (FileUtils::isWriteProtected(path))
        return text("The existing file '%1' is read-only.").arg(path);
    if (platform::isHeldByWriter(path))
        return text(
                   "'%1': File is in use by another application — choose a different file or close the other "
                   "application.")
            .arg(path);
    return {};
}

QString checkReplaced(const QString& basePath, const std::optional<QString>& replaceable)
{
    const QString found = replaceable ? recordedFile(basePath, *replaceable) : QString();
    if (found.isEmpty())
        return {};
    return text("'%1' holds a recording. Choose another name, or choose this one again with \"Select "
                "File...\" and agree there to replace it.")
        .arg(found);
}

} // namespace vt
