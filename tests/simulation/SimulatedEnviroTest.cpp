// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/SimulatedEnviro.h"
#include "FakeTimeSource.h"
#include "simulation/EnviroRoom.h"

#include <QFileInfo>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

// A week, every ten minutes.
TEST(EnviroRoom, IsARoomForAnimals)
{
    vt::EnviroRoom room(7);
    double pressureLow = 2000;
    double pressureHigh = 0;
    for (QDateTime time({2026, 3, 2}, {0, 5}); time < QDateTime({2026, 3, 9}, {0, 0});
         time = time.addSecs(600)) {
        const vt::RoomClimate climate = room.at(time);
        const bool isDay = time.time().hour() >= 7 && time.time().hour() < 19;
        if (isDay)
            EXPECT_GT(climate.lightLux, 100.0) << qPrintable(time.toString());
        else
            EXPECT_LT(climate.lightLux, 1.0) << qPrintable(time.toString());
        EXPECT_NEAR(climate.temperatureC, 22.0, 1.0);
        EXPECT_NEAR(climate.humidityPercent, 50.0, 10.0);
        pressureLow = std::min(pressureLow, climate.pressureHpa);
        pressureHigh = std::max(pressureHigh, climate.pressureHpa);
    }
    EXPECT_GT(pressureLow, 995.0);
    EXPECT_LT(pressureHigh, 1030.0);
    EXPECT_GT(pressureHigh - pressureLow, 5.0) << "the weather changes";
    // 22 degrees: (22 + 46.85) / 175.72 * 65536; 50 %: 56 / 125 * 65536; -20.5 * 480
    EXPECT_EQ(vt::enviroReading(9, {200.4, 22.0, 50.0, 1013.25}), "9 200 25678 29360 4150272 -9840");
}

TEST(SimulatedEnviro, TwoAreThereWithEntriesOfTheirOwn)
{
    vt::test::FakeTimeSource time;
    const auto sensors = vt::makeSimulatedEnviros(time, 2);
    ASSERT_EQ(sensors.size(), 2U);
    for (const auto& sensor : sensors)
        EXPECT_TRUE(QFileInfo::exists(sensor->portPath())) << qPrintable(sensor->errorText());
    EXPECT_EQ(sensors[1]->portEntry(), u"path="_s + sensors[1]->portPath() +
                                           u";vid=2405;pid=000B;serial=SIM2;description=Tessaly Enviro"_s);
    const QString path = sensors[0]->portPath();
    sensors[0]->unplug();
    EXPECT_FALSE(QFileInfo::exists(path));
    ASSERT_TRUE(sensors[0]->plugIn(vt::SimulatedEnviro::Comeback::OtherPath));
    EXPECT_NE(sensors[0]->portPath(), path);
    EXPECT_TRUE(QFileInfo::exists(sensors[0]->portPath()));
}
