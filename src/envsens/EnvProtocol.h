// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "envsens/EnvSample.h"

#include <QByteArray>
#include <QString>
#include <array>
#include <optional>

/// The wire of an environmental sensor: commands of one character, replies of one line. Plain functions.
namespace vt::EnvProtocol {

constexpr char IdentifyCommand[] = "?";
constexpr char StartCommand[] = "o"; ///< after each opening of the port; nothing is answered
constexpr char SampleCommand[] = "s";
constexpr qsizetype ReplyLimitBytes = 100;

struct Identity
{
    QString serialNumber;
    int firmwareMajor = 0;
    int firmwareMinor = 0;
};
/// Of "EnviroSen v2.3#A1B2"; what follows the first CR does not count. Empty when it is anything else.
[[nodiscard]] std::optional<Identity> parseIdentification(const QByteArray& reply);

/// True when a line of a reply is complete, or so long that it is read no further.
[[nodiscard]] bool isReplyComplete(const QByteArray& bytes);

/// Elapsed time, light, temperature, humidity, pressure, pressure sensor's temperature.
using RawReading = std::array<qint32, 6>;
/// Six decimal numbers, divided by blanks; one that is no number is 0. Empty when there are more or fewer.
[[nodiscard]] std::optional<RawReading> parseReading(const QByteArray& reply);

[[nodiscard]] EnvSample toSample(const RawReading& raw, qint64 timeStampMs);

} // namespace vt::EnvProtocol
