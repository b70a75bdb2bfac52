// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "simulation/Random.h"

#include <QByteArray>
#include <QDateTime>
#include <cstdint>

namespace vt {

/// The air and light of an animal room at one moment.
struct RoomClimate
{
    double lightLux = 0.0;
    double temperatureC = 0.0;
    double humidityPercent = 0.0;
    double pressureHpa = 0.0;
};

/// An animal room through the day: the lamps are on from 7:00 to 19:00, the temperature follows them within
/// 1 degree of 22, the humidity runs against it, the pressure drifts over days. The same seed gives the same
/// room, apart from the small noise between two readings.
class EnviroRoom
{
public:
    explicit EnviroRoom(std::uint64_t seed);
    [[nodiscard]] RoomClimate at(const QDateTime& localTime);

private:
    Random m_random;
    double m_lampLux;     ///< at this sensor's place in the room
    double m_warmerC;     ///< than the middle of the room
    double m_phaseRadian; ///< of the weather
};

/// What a sensor sends of it: "elapsed light temperature humidity pressure temperature", raw numbers of its
/// two sensor chips, without line end.
[[nodiscard]] QByteArray enviroReading(qint64 elapsedSeconds, const RoomClimate& climate);

} // namespace vt
