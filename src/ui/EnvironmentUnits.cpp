// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/EnvironmentUnits.h"

#include <QCoreApplication>
#include <QLocale>

#include <cmath>

namespace vt::envunits {

namespace {

constexpr double MmHgPerHpa = 0.7500637554;
constexpr double HpaPerInHg = 33.863886666667;

QString text(const char* source)
{
    return QCoreApplication::translate("EnvironmentUnits", source);
}

} // namespace

double convert(Quantity quantity, double base, const Units& units)
{
    if (quantity == Quantity::Temperature && units.temperature == TemperatureUnit::Fahrenheit)
        return base * 9.0 / 5.0 + 32.0;
    if (quantity == Quantity::Pressure && units.pressure == PressureUnit::MillimetreOfMercury)
        return base * MmHgPerHpa;
    if (quantity == Quantity::Pressure && units.pressure == PressureUnit::InchOfMercury)
        return base / HpaPerInHg;
    return base;
}

QString symbol(Quantity quantity, const Units& units)
{
    switch (quantity) {
    case Quantity::Temperature:
        return units.temperature == TemperatureUnit::Celsius ? QStringLiteral("°C") : QStringLiteral("°F");
    case Quantity::Humidity:
        return QStringLiteral("%");
    case Quantity::Light:
        return QStringLiteral("lx");
    case Quantity::Pressure:
        return key(units.pressure);
    }
    return {};
}

int decimals(Quantity quantity, const Units& units)
{
    switch (quantity) {
    case Quantity::Temperature:
    case Quantity::Humidity:
        return 1;
    case Quantity::Light:
        return 0;
    case Quantity::Pressure:
        return units.pressure == PressureUnit::InchOfMercury ? 2 : 1;
    }
    return 0;
}

QString valueText(Quantity quantity, double base, const Units& units)
{
    if (!std::isfinite(base))
        return QStringLiteral("–");
    return QLocale().toString(convert(quantity, base, units), 'f', decimals(quantity, units)) +
           QStringLiteral(" ") + symbol(quantity, units);
}

double leastSpan(Quantity quantity, const Units& units)
{
    constexpr double Degrees = 2.0;
    constexpr double Percent = 5.0;
    constexpr double Lux = 10.0;
    constexpr double Hectopascals = 4.0;
    switch (quantity) {
    case Quantity::Temperature:
        return convert(quantity, Degrees, units) - convert(quantity, 0.0, units);
    case Quantity::Humidity:
        return Percent;
    case Quantity::Light:
        return Lux;
    case Quantity::Pressure:
        return convert(quantity, Hectopascals, units);
    }
    return 1.0;
}

QString quantityName(Quantity quantity)
{
    switch (quantity) {
    case Quantity::Temperature:
        return text("Temperature");
    case Quantity::Humidity:
        return text("Relative Humidity");
    case Quantity::Light:
        return text("Light");
    case Quantity::Pressure:
        return text("Air Pressure");
    }
    return {};
}

QString key(TemperatureUnit unit)
{
    return unit == TemperatureUnit::Celsius ? QStringLiteral("C") : QStringLiteral("F");
}

QString key(PressureUnit unit)
{
    switch (unit) {
    case PressureUnit::Hectopascal:
        return QStringLiteral("hPa");
    case PressureUnit::MillimetreOfMercury:
        return QStringLiteral("mmHg");
    case PressureUnit::InchOfMercury:
        return QStringLiteral("inHg");
    }
    return {};
}

Units fromKeys(const QString& temperature, const QString& pressure)
{
    Units units;
    if (temperature == key(TemperatureUnit::Fahrenheit))
        units.temperature = TemperatureUnit::Fahrenheit;
    for (const auto unit : {PressureUnit::MillimetreOfMercury, PressureUnit::InchOfMercury})
        if (pressure == key(unit))
            units.pressure = unit;
    return units;
}

} // namespace vt::envunits
