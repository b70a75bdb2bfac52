// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/SetupFile.h"

#include "session/HeaderBuilder.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

QString text(const char* source)
{
    return QCoreApplication::translate("SetupFile", source);
}

} // namespace

std::variant<SetupFileContents, SetupFileError> readSetupFile(const QString& path, int deviceChannelCount)
{
    constexpr qint64 largestBytes = qint64{16} << 20;
    const auto failed = [&path](const QString& why) {
        return SetupFileError{text("Could not open '%1': %2").arg(path, why)};
    };
    const QFileInfo info(path);
    if (info.exists() && !info.isFile()) // a pipe would wait for its writer
        return failed(text("It is not a file."));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return failed(file.errorString());
    const QByteArray json = file.read(largestBytes + 1);
    if (file.error() != QFileDevice::NoError)
        return failed(file.errorString());
    if (json.size() > largestBytes)
        return failed(text("It is larger than any setup file (16 MiB)."));
    return parseSetup(json, deviceChannelCount);
}

QString writeSetupFile(const QString& path, const QByteArray& json)
{
    QSaveFile file(path);
    // Unbuffered: only then does the count of a write tell how much of it is on the disk.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return text("Could not open '%1' for writing: %2").arg(path, file.errorString());
    // A disk that fills up in the middle of a write is a short count, and only the next one an error.
    const bool whole = file.write(json) == json.size();
    if (!whole && file.error() == QFileDevice::NoError) {
        file.cancelWriting();
        return text("Could not write '%1': %2").arg(path, text("The disk is full."));
    }
    if (!file.commit())
        return text("Could not write '%1': %2").arg(path, file.errorString());
    return {};
}

QString withSetupExtension(const QString& path)
{
    const QString extension = u".vtconfig"_s;
    return path.endsWith(extension, Qt::CaseInsensitive) ? path : path + extension;
}

void applySetup(const SetupFileContents& contents, RecordingSetup& setup)
{
    if (!contents.animalIds.isEmpty())
        setup.animalIds = contents.animalIds;
    if (contents.lightOnset.isValid())
        setup.lightOnset = contents.lightOnset;
    if (contents.darkOnset.isValid())
        setup.darkOnset = contents.darkOnset;
    if (contents.envSensorLabels)
        setup.envSensorLabels = *contents.envSensorLabels;
    if (contents.vexio)
        setup.vexio = contents.vexio;
    if (contents.dio)
        setup.dio = contents.dio;
    if (contents.video)
        setup.video = contents.video;
    setup.setupFile = contents.original;
}

SetupFileContents setupContents(const RecordingSetup& setup, int deviceChannelCount)
{
    SetupFileContents contents;
    contents.channelCount = deviceChannelCount;
    contents.animalIds = completeAnimalIds(setup.animalIds, deviceChannelCount);
    contents.lightOnset = setup.lightOnset;
    contents.darkOnset = setup.darkOnset;
    contents.envSensorLabels = setup.envSensorLabels;
    contents.vexio = setup.vexio;
    contents.dio = setup.dio;
    contents.video = setup.video;
    contents.original = setup.setupFile;
    return contents;
}

} // namespace vt
