// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/EnviroRoom.h"

#include <cmath>
#include <numbers>

namespace vt {

namespace {

constexpr double MsPerHour = 3600000.0;
constexpr double LampsOnHour = 7.0;
constexpr double LampsOffHour = 19.0;

QByteArray rounded(double value)
{
    return QByteArray::number(std::llround(value));
}

} // namespace

EnviroRoom::EnviroRoom(std::uint64_t seed)
    : m_random(seed), m_lampLux(m_random.uniform(140.0, 260.0)), m_warmerC(m_random.uniform(-0.3, 0.3)),
      m_phaseRadian(m_random.uniform(0.0, 2.0 * std::numbers::pi))
{}

RoomClimate EnviroRoom::at(const QDateTime& localTime)
{
    const double hour = localTime.time().msecsSinceStartOfDay() / MsPerHour;
    const bool isLit = hour >= LampsOnHour && hour < LampsOffHour;
    // Warmest in the late afternoon.
    const double day = std::sin((hour - 10.0) / 24.0 * 2.0 * std::numbers::pi);
    const double hours = static_cast<double>(localTime.toMSecsSinceEpoch()) / MsPerHour;
    const double weather =
        std::sin(hours / 61.0 * 2.0 * std::numbers::pi + m_phaseRadian) + 0.4 * std::sin(hours / 13.0);
    RoomClimate climate;
    climate.lightLux = isLit ? m_lampLux * (1.0 + 0.005 * m_random.normal()) : 0.0;
    climate.temperatureC = 22.0 + 0.5 * day + m_warmerC + 0.02 * m_random.normal();
    climate.humidityPercent = 50.0 - 4.0 * day + 2.0 * weather + 0.1 * m_random.normal();
    climate.pressureHpa = 1013.0 + 8.0 * weather + 0.02 * m_random.normal();
    return climate;
}

QByteArray enviroReading(qint64 elapsedSeconds, const RoomClimate& climate)
{
    // The scales of the chips' data sheets, solved for the raw number.
    const double temperature = (climate.temperatureC + 46.85) / 175.72 * 65536.0;
    const double humidity = (climate.humidityPercent + 6.0) / 125.0 * 65536.0;
    const double pressure = climate.pressureHpa * 4096.0;
    const double secondTemperature = (climate.temperatureC - 42.5) * 480.0;
    return QByteArray::number(elapsedSeconds) + ' ' + rounded(climate.lightLux) + ' ' + rounded(temperature) +
           ' ' + rounded(humidity) + ' ' + rounded(pressure) + ' ' + rounded(secondTemperature);
}

} // namespace vt
