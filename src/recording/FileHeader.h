// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/McuHeader.h"

#include <QByteArray>
#include <QDateTime>
#include <QIODevice>
#include <QString>
#include <QStringList>
#include <QTime>

namespace vt {

/// The header at the start of the four binary files. Version 4 is written; 3 and 4 are read.
/// Thread of whoever owns it; no locking.
struct FileHeader
{
    int version = 4;
    QString softwareVersion; ///< "VellumtideQT<major>.<minor>.<build>"
    QString envSensorInfo = QStringLiteral("envsensplaceholder");
    int channelCount = 0;
    int featuresPerEpoch = 0; ///< 4 when animalType is 1, else 6
    int animalType = 0;
    int sampleRate = 120; ///< Hz
    int mcuGain = 0;
    double offsetSubtracted = 0.0; ///< volts: 2.5 when mcuGain is 0 (NI unit), else 0
    double maxAmplitude = 5.0;     ///< full scale in volts
    QDateTime start;               ///< whole seconds, local time
    QTime lightOnset;
    QTime darkOnset;
    QStringList channelLabels; ///< animal IDs
    QString deviceDescription;
    QString deviceSerial;
    MCUHeader mcu;

    // Derived by readHeader.
    qint64 dataStart = 0;
    qint64 sampleCount = 0; ///< (file size - dataStart) / 2
    qint64 samplesPerChannel = 0;

    /// The bytes of a header of this version, length word included. Empty, and logged, for a version other
    /// than 3 or 4 ("Unknown file header version: ") and for values that its version cannot hold: labels
    /// beyond a megabyte, in version 3 a full scale other than 1 to 5 whole volts.
    [[nodiscard]] QByteArray encode() const;
    /// Writes encode() in one piece at the device's position.
    [[nodiscard]] bool writeHeader(QIODevice& file) const;
    /// Rewinds, reads and checks the header; the device then stands at dataStart. On failure false, *error
    /// says what is wrong and at which byte, and this header is unchanged. Every length in the file is
    /// checked against what is there before anything is allocated for it; at most a megabyte is read.
    [[nodiscard]] bool readHeader(QIODevice& file, QString* error = nullptr);
};

/// "VellumtideQT%0.%1.%2" of this program.
[[nodiscard]] QString softwareVersionText();

} // namespace vt
