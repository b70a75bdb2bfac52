// SPDX-License-Identifier: GPL-3.0-or-later
#include "envsens/EnvProtocol.h"

#include <QList>
#include <algorithm>

namespace vt::EnvProtocol {

using namespace Qt::StringLiterals;

namespace {

bool isLineEnd(char byte)
{
    return byte == '\r' || byte == '\n';
}

/// The first line that is not empty, with or without its end.
QByteArray firstLine(const QByteArray& bytes)
{
    const auto begin = std::find_if_not(bytes.begin(), bytes.end(), isLineEnd);
    const auto end = std::find_if(begin, bytes.end(), isLineEnd);
    return bytes.mid(begin - bytes.begin(), end - begin);
}

double fahrenheit(double celsius)
{
    return celsius * 9.0 / 5.0 + 32.0;
}

} // namespace

std::optional<Identity> parseIdentification(const QByteArray& reply)
{
    const QString line = QString::fromLatin1(reply.left(ReplyLimitBytes)).section(u'\r', 0, 0);
    const QStringList words = line.split(u' ', Qt::SkipEmptyParts);
    if (words.size() != 2 || words[0] != "EnviroSen"_L1)
        return std::nullopt;
    const QStringList halves = words[1].split(u'#', Qt::SkipEmptyParts);
    if (halves.size() != 2 || !halves[0].startsWith(u'v'))
        return std::nullopt;
    const QStringList version = halves[0].mid(1).split(u'.');
    if (version.size() < 2)
        return std::nullopt;
    return Identity{halves[1], version[0].toInt(), version[1].toInt()};
}

bool isReplyComplete(const QByteArray& bytes)
{
    if (bytes.size() >= ReplyLimitBytes)
        return true;
    const auto begin = std::find_if_not(bytes.begin(), bytes.end(), isLineEnd);
    return std::any_of(begin, bytes.end(), isLineEnd);
}

std::optional<RawReading> parseReading(const QByteArray& reply)
{
    RawReading reading{};
    std::size_t count = 0;
    const QList<QByteArray> fields = firstLine(reply.left(ReplyLimitBytes)).split(' ');
    for (const QByteArray& field : fields) {
        if (field.isEmpty())
            continue;
        if (count == reading.size())
            return std::nullopt;
        reading[count++] = field.toInt();
    }
    if (count != reading.size())
        return std::nullopt;
    return reading;
}

EnvSample toSample(const RawReading& raw, qint64 timeStampMs)
{
    EnvSample sample;
    sample.elapsedTime = raw[0];
    sample.lightLux = raw[1];
    sample.temperatureC = raw[2] * 175.72 / 65536.0 - 46.85;
    sample.temperatureF = fahrenheit(sample.temperatureC);
    sample.humidityPercent = raw[3] * 125.0 / 65536.0 - 6.0;
    sample.pressureHpa = raw[4] / 4096.0;
    sample.pressureMmHg = sample.pressureHpa * 0.7500637554;
    sample.pressureInHg = sample.pressureHpa / 33.863886666667;
    sample.pressureSensorC = raw[5] / 480.0 + 42.5;
    sample.pressureSensorF = fahrenheit(sample.pressureSensorC);
    sample.timeStampMs = timeStampMs;
    return sample;
}

} // namespace vt::EnvProtocol
