// SPDX-License-Identifier: GPL-3.0-or-later
#include "envsens/EnvLogFormat.h"

#include "recording/BigEndianStream.h"

#include <algorithm>

namespace vt::EnvLogFormat {

namespace {

/// The bytes with their count in front.
QByteArray counted(const QByteArray& bytes)
{
    BigEndianWriter out;
    out.u32(static_cast<int>(bytes.size()));
    out.raw(bytes);
    return out.bytes();
}

QByteArray columnBlock(const Header& header)
{
    BigEndianWriter out;
    out.u32(static_cast<int>(header.columnNames.size()));
    out.text(header.columnNote);
    out.text(header.columnNames.join(u','));
    out.u32(0);
    return counted(out.bytes());
}

qint64 newestTimeStampMs(const QMap<QString, EnvSample>& round)
{
    qint64 newest = 0;
    for (const EnvSample& sample : round)
        newest = std::max(newest, sample.timeStampMs);
    return newest;
}

} // namespace

QByteArray headerBytes(const Header& header)
{
    BigEndianWriter out;
    out.u32(header.sensorCount);
    out.u32(header.intervalSeconds);
    out.u32(header.startTime.second());
    out.u32(header.startTime.minute());
    out.u32(header.startTime.hour());
    out.u32(header.startDate.day());
    out.u32(header.startDate.month());
    out.u32(header.startDate.year());
    out.text(header.programId);
    for (const QString& label : header.labels)
        out.text(label);
    for (const QString& serialNumber : header.serialNumbers)
        out.text(serialNumber);
    out.raw(columnBlock(header));
    return counted(out.bytes());
}

QByteArray separatorBytes(int sensorCount, int columnCount)
{
    BigEndianWriter out;
    for (int i = 0; i < sensorCount * columnCount; ++i)
        out.f64(EnvSample::NoData);
    return out.bytes();
}

QByteArray recordBytes(const QStringList& serialNumbers, const QMap<QString, EnvSample>& round,
                       qint64 startMs)
{
    EnvSample missing;
    missing.timeStampMs = newestTimeStampMs(round);
    BigEndianWriter out;
    for (const QString& serialNumber : serialNumbers) {
        const EnvSample sample = round.value(serialNumber, missing);
        out.f64(static_cast<double>(sample.timeStampMs - startMs) / 1000 / 60 / 60 / 24);
        out.f64(sample.lightLux);
        out.f64(sample.temperatureF);
        out.f64(sample.humidityPercent);
        out.f64(sample.pressureInHg);
    }
    return out.bytes();
}

} // namespace vt::EnvLogFormat
