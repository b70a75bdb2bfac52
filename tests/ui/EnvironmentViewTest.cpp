// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/EnvironmentView.h"

#include "ui/EnvironmentChart.h"
#include "ui/RadioGroup.h"
#include "ui/SensorCard.h"
#include "ui/SeriesStyle.h"

#include <QAbstractButton>
#include <QLabel>
#include <QSignalSpy>
#include <QTest>
#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

using namespace vt;
using namespace vt::envunits;
using namespace Qt::StringLiterals;

namespace {

constexpr qint64 SecondMs = 1000;
constexpr qint64 HourMs = 3600 * SecondMs;
constexpr qint64 Start = qint64{1'750'000'000} * 1000;

EnvPoint reading(qint64 timeMs, double temperatureC)
{
    return {timeMs, temperatureC, 40.0, 300.0, 1000.0};
}

} // namespace

TEST(EnvironmentUnits, ConvertAsTheSensorsOwnReadings)
{
    const Units imperial{TemperatureUnit::Fahrenheit, PressureUnit::InchOfMercury};
    const Units mmHg{TemperatureUnit::Celsius, PressureUnit::MillimetreOfMercury};
    EXPECT_NEAR(convert(Quantity::Temperature, -40.0, imperial), -40.0, 1e-12);
    EXPECT_NEAR(convert(Quantity::Pressure, 1013.25, mmHg), 760.0021, 1e-4);
    EXPECT_NEAR(convert(Quantity::Pressure, 1013.25, imperial), 29.9213, 1e-4);
    EXPECT_EQ(valueText(Quantity::Temperature, 22.0, imperial), u"71.6 °F"_s);
    EXPECT_EQ(valueText(Quantity::Pressure, 1013.25, imperial), u"29.92 inHg"_s);
    EXPECT_EQ(valueText(Quantity::Humidity, std::nan(""), {}), u"–"_s);
    EXPECT_NEAR(leastSpan(Quantity::Temperature, imperial), 3.6, 1e-9) << "a span has no offset";
    EXPECT_EQ(fromKeys(key(imperial.temperature), key(imperial.pressure)), imperial);
    EXPECT_EQ(fromKeys(u"K"_s, QString()), Units{});
}

TEST(EnvHistory, JoinsReadingsAndLeavesGapsWhereThereAreNone)
{
    EnvHistory history;
    for (int second = 0; second < 600; second += 2) {
        if (second >= 200 && second < 220) // shorter than a gap
            continue;
        if (second >= 400 && second < 460)
            continue;
        EnvPoint point = reading(Start + second * SecondMs, second < 300 ? 20.0 : 22.0);
        if (second >= 100 && second < 160)
            point.humidityPercent = 1e15;
        history.add(point);
    }
    EnvPoint failed;
    failed.timeMs = Start + 430 * SecondMs;
    history.add(failed);
    const qint64 end = Start + 600 * SecondMs;
    const auto temperature = history.curves(Quantity::Temperature, Start, end, 600);
    ASSERT_EQ(temperature.size(), 2U);
    EXPECT_NEAR(temperature[0].back().timeMs, static_cast<double>(Start + 395 * SecondMs), 1.0);
    EXPECT_NEAR(temperature[1].front().timeMs, static_cast<double>(Start + 465 * SecondMs), 1.0);
    EXPECT_EQ(history.curves(Quantity::Humidity, Start, end, 600).size(), 3U)
        << "a value may be missing by itself";
    const auto narrow = history.curves(Quantity::Temperature, Start, end, 2);
    ASSERT_EQ(narrow.size(), 2U);
    ASSERT_EQ(narrow[0].size(), 2U);
    EXPECT_EQ(narrow[0][0].value, 20.0);
    EXPECT_EQ(narrow[0][1].value, 22.0);
    EXPECT_TRUE(history.curves(Quantity::Temperature, end, end + HourMs, 100).empty());
}

TEST(EnvHistory, KeepsADayInOrder)
{
    EnvHistory history;
    for (qint64 timeMs = 0; timeMs < 30 * HourMs; timeMs += 5 * SecondMs)
        history.add(reading(Start + timeMs, 20.0));
    EXPECT_EQ(history.binCount(), 8640U);
    const qint64 newest = history.newestMs();
    history.add(reading(newest - 2 * HourMs, 30.0)); // the clock was set back
    history.add(reading(newest - 25 * HourMs, 30.0));
    EXPECT_EQ(history.binCount(), 8640U);
    const auto curves = history.curves(Quantity::Temperature, newest - 24 * HourMs, newest + 1, 24);
    ASSERT_EQ(curves.size(), 1U);
    EXPECT_TRUE(std::ranges::is_sorted(curves[0], {}, &EnvCurvePoint::timeMs));
    EXPECT_TRUE(std::ranges::any_of(curves[0], [](const auto& point) { return point.value > 20.0; }));
}

TEST(SeriesStyle, DashesGoOnAcrossTheCornersOfALine)
{
    QPolygonF path; // 52 pixels in steps of 1: the dashes are 9 long and 4 apart
    for (int i = 0; i <= 52; ++i)
        path.append({i % 2 == 0 ? i / 2.0 : (i + 1) / 2.0, i / 2 * 1.0});
    const auto length = [](const QList<QLineF>& lines) {
        double sum = 0.0;
        for (const QLineF& line : lines)
            sum += line.length();
        return sum;
    };
    EXPECT_NEAR(length(seriesstyle::strokes(path, 0)), 52.0, 1e-9);
    EXPECT_NEAR(length(seriesstyle::strokes(path, 1)), 36.0, 1e-9);
    QPolygonF far; // where a step of the path is small against its place
    for (int i = 0; i < 1000; ++i)
        far.append({1e4 + i * 0.7, 1e4 + std::sin(i) * 3.3});
    EXPECT_LT(seriesstyle::strokes(far, 3).size(), 3000);
    EXPECT_TRUE(seriesstyle::strokes({}, 1).isEmpty());
}

class EnvironmentViewTest : public testing::Test
{
protected:
    EnvironmentViewTest()
    {
        m_view.resize(900, 600);
        m_view.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&m_view));
    }
    static QStringList texts(const QWidget* card)
    {
        QStringList result;
        for (const QLabel* label : card->findChildren<QLabel*>())
            result << label->text();
        return result;
    }
    QList<SensorCard*> cards() const
    {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return m_view.findChildren<SensorCard*>();
    }
    EnvironmentView m_view;
};

TEST_F(EnvironmentViewTest, CardsSayWhatEverySensorReadsOrWhyItDoesNot)
{
    EXPECT_TRUE(texts(&m_view).contains(u"No environmental sensor."_s));
    EXPECT_TRUE(cards().isEmpty());
    m_view.setSensors({{u"A1"_s, u"Rack"_s, true, true, {reading(Start, 21.5)}},
                       {u"B2"_s, u"Corridor"_s, false, true, {}},
                       {u"C3"_s, u"C3"_s, true, false, {}}});
    m_view.refresh(Start + 2 * SecondMs);
    ASSERT_EQ(cards().size(), 3);
    EXPECT_TRUE(texts(cards()[0]).contains(u"21.5 °C"_s));
    EXPECT_TRUE(texts(cards()[1]).contains(u"Disconnected"_s));
    EXPECT_TRUE(texts(cards()[2]).contains(u"Switched off"_s));
    m_view.addReading(u"A1"_s, reading(Start + 2 * SecondMs, 22.0));
    m_view.setUnits({TemperatureUnit::Fahrenheit, PressureUnit::MillimetreOfMercury});
    EXPECT_TRUE(texts(cards()[0]).contains(u"71.6 °F"_s));
    EXPECT_TRUE(texts(cards()[0]).contains(u"750.1 mmHg"_s));
    EnvPoint failed;
    failed.timeMs = Start + 4 * SecondMs;
    m_view.addReading(u"A1"_s, failed);
    m_view.refresh(Start + 4 * SecondMs);
    EXPECT_FALSE(texts(cards()[0]).contains(u"71.6 °F"_s)) << "an old reading is not a present one";
    m_view.addReading(u"A1"_s, reading(Start + 6 * SecondMs, 22.0));
    m_view.refresh(Start + 8 * SecondMs);
    EXPECT_TRUE(texts(cards()[0]).contains(u"71.6 °F"_s));
    m_view.refresh(Start + HourMs); // the recording has ended long ago
    EXPECT_FALSE(texts(cards()[0]).contains(u"71.6 °F"_s));
}

TEST_F(EnvironmentViewTest, ChartsKeepReadingsOfASensorThatIsListedAgainAndDrawNothingHidden)
{
    auto* chart = m_view.findChildren<EnvironmentChart*>()[0];
    const QPoint middle(chart->width() / 2, chart->height() / 2);
    m_view.setSensors({{u"A1"_s, u"Rack"_s, true, true, {}}});
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    for (qint64 timeMs = 0; timeMs < HourMs; timeMs += 10 * SecondMs)
        m_view.addReading(u"A1"_s, reading(Start + timeMs, 21.0));
    m_view.hide();
    m_view.refresh(Start + HourMs);
    EXPECT_EQ(chart->textAt(middle), u"Temperature"_s) << "nothing was given to it";
    m_view.setSensors({{u"B2"_s, u"Corridor"_s, true, true, {}}, {u"A1"_s, u"Rack"_s, true, true, {}}});
    m_view.show();
    m_view.refresh(Start + HourMs);
    const QString text = chart->textAt(QRect(QPoint(), chart->size()).center());
    EXPECT_TRUE(text.contains(u"Corridor: no data"_s)) << qPrintable(text);
    EXPECT_TRUE(text.contains(u"Rack: 21.0 °C"_s)) << qPrintable(text);
}

TEST_F(EnvironmentViewTest, UnitsAndHoursAreChosenByKeyAndTold)
{
    m_view.setSensors({{u"A1"_s, u"Rack"_s, true, true, {}}});
    const QSignalSpy units(&m_view, &EnvironmentView::unitsChosen);
    const QSignalSpy hours(&m_view, &EnvironmentView::hoursChosen);
    for (auto* choice : m_view.findChildren<RadioGroup*>()) {
        if (choice->accessibleName() != u"Unit of temperature"_s)
            continue;
        choice->setFocus();
        QTest::keyClick(m_view.focusWidget(), Qt::Key_Right);
    }
    EXPECT_EQ(units.count(), 1);
    EXPECT_EQ(m_view.units().temperature, TemperatureUnit::Fahrenheit);
    for (auto* button : m_view.findChildren<QAbstractButton*>())
        if (button->accessibleName() == u"Show the last 24 h"_s)
            QTest::keyClick(button, Qt::Key_Space);
    ASSERT_EQ(hours.count(), 1);
    EXPECT_EQ(m_view.hours(), 24);
}
