// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/TraceViews.h"

#include <QCoreApplication>
#include <QLocale>

namespace vt::traceview {

namespace {

QString text(const char* source)
{
    return QCoreApplication::translate("TraceViews", source);
}

QString volts(double value)
{
    return value < 0.1 ? text("%1 mV").arg(QLocale().toString(value * 1000, 'g', 3))
                       : text("%1 V").arg(QLocale().toString(value, 'g', 3));
}

} // namespace

QString name(View view)
{
    switch (view) {
    case View::Signal:
        return text("Signal");
    case View::BreathRate:
        return text("Breath rate");
    case View::Power:
        return text("Power");
    }
    return {};
}

std::vector<int> timeBases(View view)
{
    if (view == View::Signal)
        return {4, 8, 16, 30};
    return {600, 3600, 6 * 3600, 24 * 3600};
}

int defaultTimeBase(View view)
{
    return view == View::Signal ? 8 : 3600;
}

QString timeBaseText(int seconds)
{
    if (seconds < 60)
        return text("%1 s").arg(seconds);
    if (seconds < 3600)
        return text("%1 min").arg(seconds / 60);
    return text("%1 h").arg(seconds / 3600);
}

int tickSeconds(int seconds)
{
    constexpr int Steps[] = {1, 2, 5, 10, 30, 60, 120, 300, 600, 1800, 3600, 4 * 3600};
    constexpr int MostTicks = 8;
    for (const int step : Steps)
        if (seconds / step <= MostTicks)
            return step;
    return seconds / MostTicks;
}

std::vector<double> ranges(View view)
{
    switch (view) {
    case View::Signal:
        return {0.05, 0.1, 0.2, 0.5, 1.0, 2.0, 5.0, 10.0};
    case View::BreathRate:
        return {2.0, 4.0, 6.0};
    case View::Power:
        return {0.05, 0.1, 0.2, 0.5, 1.0, 2.0, 5.0, 10.0};
    }
    return {};
}

double smallestRange(View view)
{
    return view == View::BreathRate ? 1.0 : 0.01;
}

bool isAroundZero(View view)
{
    return view == View::Signal;
}

QString rangeText(View view, double range)
{
    switch (view) {
    case View::Signal:
        return text("±%1").arg(volts(range));
    case View::BreathRate:
        return text("0–%1 Hz").arg(QLocale().toString(range, 'g', 3));
    case View::Power:
        return text("0–%1").arg(volts(range));
    }
    return {};
}

QString scaleText(View view, const Scale& scale)
{
    switch (scale.rule) {
    case ScaleRule::Auto:
        return text("Auto");
    case ScaleRule::AutoCommon:
        return text("Auto, common");
    case ScaleRule::Fixed:
        return rangeText(view, scale.range);
    case ScaleRule::AsPage:
        return text("As the page");
    }
    return {};
}

StepValue stepValue(View view)
{
    return view == View::BreathRate ? StepValue::BreathRate : StepValue::Power;
}

} // namespace vt::traceview
