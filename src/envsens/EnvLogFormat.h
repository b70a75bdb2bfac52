// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "envsens/EnvSample.h"

#include <QByteArray>
#include <QDate>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QTime>

/// The bytes of the ".Env" file: big-endian, integers of 32 bits, reals of 64, strings as a byte count and
/// UTF-8. Plain functions.
namespace vt::EnvLogFormat {

struct Header
{
    int sensorCount = 0;
    int intervalSeconds = 0;
    QTime startTime;
    QDate startDate;
    QString programId;
    QStringList labels;        ///< in column order
    QStringList serialNumbers; ///< in the same order
    QString columnNote;
    QStringList columnNames;
};
[[nodiscard]] QByteArray headerBytes(const Header& header);

/// A "no data" value for every column of every sensor: what ends a segment before a new header.
[[nodiscard]] QByteArray separatorBytes(int sensorCount, int columnCount);

/// Five columns per sensor, in the order given. startMs: ms since 1970 at which the recording's count of days
/// begins. A sensor that the round lacks has no data; its time is the newest in the round.
[[nodiscard]] QByteArray recordBytes(const QStringList& serialNumbers, const QMap<QString, EnvSample>& round,
                                     qint64 startMs);

} // namespace vt::EnvLogFormat
