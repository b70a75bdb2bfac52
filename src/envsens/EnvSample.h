// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QMetaType>
#include <QtGlobal>

namespace vt {

/// One reading of an environmental sensor. A value, crosses threads.
struct EnvSample
{
    /// What every real holds when there is no reading; bit pattern 0x430C6BF526340000.
    static constexpr double NoData = 1e15;

    qint32 elapsedTime = -1; ///< the device's own running time, in its unit, as sent; -1: no reading
    double lightLux = NoData;
    double temperatureC = NoData; ///< of the humidity sensor, as the next
    double temperatureF = NoData;
    double humidityPercent = NoData;
    double pressureHpa = NoData;
    double pressureMmHg = NoData;
    double pressureInHg = NoData;
    double pressureSensorC = NoData;
    double pressureSensorF = NoData;
    /// Wall clock, ms since 1970-01-01 UTC: when the reading was taken; without one, when the poll began.
    qint64 timeStampMs = 0;

    [[nodiscard]] bool hasReading() const { return elapsedTime != -1 || lightLux != NoData; }
};

} // namespace vt

Q_DECLARE_METATYPE(vt::EnvSample)
