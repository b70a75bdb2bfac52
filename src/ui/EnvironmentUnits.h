// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

/// Quantities of the room and the units that they can be shown in. Plain functions.
namespace vt::envunits {

enum class Quantity { Temperature, Humidity, Light, Pressure };
inline constexpr int QuantityCount = 4;

enum class TemperatureUnit { Celsius, Fahrenheit };
enum class PressureUnit { Hectopascal, MillimetreOfMercury, InchOfMercury };

struct Units
{
    TemperatureUnit temperature = TemperatureUnit::Celsius;
    PressureUnit pressure = PressureUnit::Hectopascal;
    bool operator==(const Units&) const = default;
};

/// base: °C, %, lux, hPa. The factors are those by which a sensor's own readings in other units are made, so
/// that a number is the same here and in the log.
[[nodiscard]] double convert(Quantity quantity, double base, const Units& units);
/// "°C", "mmHg", "lx", ...
[[nodiscard]] QString symbol(Quantity quantity, const Units& units);
/// Digits after the decimal point that a reading is good for.
[[nodiscard]] int decimals(Quantity quantity, const Units& units);
/// "22.4 °C"; a dash for a value that is not finite.
[[nodiscard]] QString valueText(Quantity quantity, double base, const Units& units);
/// The least range of an axis, in the unit: noise is not blown up to fill a chart.
[[nodiscard]] double leastSpan(Quantity quantity, const Units& units);
[[nodiscard]] QString quantityName(Quantity quantity);

/// For the settings: "C", "F"; "hPa", "mmHg", "inHg". An unknown word gives the first.
[[nodiscard]] QString key(TemperatureUnit unit);
[[nodiscard]] QString key(PressureUnit unit);
[[nodiscard]] Units fromKeys(const QString& temperature, const QString& pressure);

} // namespace vt::envunits
