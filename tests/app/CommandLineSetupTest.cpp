// SPDX-License-Identifier: GPL-3.0-or-later
// What is recorded when device, setup file and command line each say something.
#include "app/CommandLineSetup.h"
#include "app/ExistingRecording.h"

#include <gtest/gtest.h>

using namespace vt;
using namespace Qt::StringLiterals;

TEST(CommandLineSetup, OptionsGoBeforeTheFileAndTheFileBeforeTheDevice)
{
    DeviceDetails device;
    device.offeredChannels = 4;
    SetupFileContents file;
    file.animalIds = {u"A"_s, u"B"_s, u"C"_s, u"D"_s};
    file.lightOnset = QTime(6, 0);
    file.darkOnset = QTime(18, 0);
    file.dio.emplace().enabled = true;

    struct Row
    {
        QStringList arguments;
        bool withFile;
        int channels;
        QStringList ids;
    };
    const Row table[] = {
        {{}, false, 4, {}},
        {{}, true, 4, {u"A"_s, u"B"_s, u"C"_s, u"D"_s}},
        {{u"--channels"_s, u"2"_s}, true, 2, {u"A"_s, u"B"_s}},
        {{u"--animal-id"_s, u"X"_s}, true, 4, {u"X"_s, u"B"_s, u"C"_s, u"D"_s}},
        {{u"--animal-id"_s, u"X"_s}, false, 4, {u"X"_s}},
        // Too many stay too many: the session refuses them.
        {{u"--channels"_s, u"1"_s, u"--animal-id"_s, u"X"_s, u"--animal-id"_s, u"Y"_s},
         true,
         1,
         {u"X"_s, u"Y"_s}},
    };
    for (const Row& row : table) {
        const CommandLine line = parseCommandLine(row.arguments);
        const RecordingSetup setup = setupFromCommandLine(line, device, row.withFile ? &file : nullptr);
        EXPECT_EQ(setup.channelCount, row.channels);
        EXPECT_EQ(setup.animalIds, row.ids);
        EXPECT_EQ(setup.lightOnset, row.withFile ? QTime(6, 0) : QTime(7, 0));
        EXPECT_EQ(setup.dio.has_value(), row.withFile);
    }
}

TEST(CommandLineSetup, EveryOptionArrives)
{
    const CommandLine line =
        parseCommandLine({u"--setup"_s, u"a.vtconfig"_s, u"--clear-settings"_s, u"--output"_s, u"/data/run"_s,
                          u"--duration"_s, u"2"_s, u"--activity-only"_s, u"--bandpass"_s});
    EXPECT_EQ(line.setupFile, u"a.vtconfig"_s);
    EXPECT_TRUE(line.clearSettings);
    const RecordingSetup setup = setupFromCommandLine(line, {}, nullptr);
    EXPECT_EQ(setup.basePath, u"/data/run"_s);
    EXPECT_EQ(setup.frameLimit, 60U);
    EXPECT_TRUE(setup.activityOnly);
    EXPECT_TRUE(setup.bandpass);
}

TEST(ExistingRecording, ANumberIsAddedToAnyNameThereIs)
{
    EXPECT_EQ(freeNumberedName(u"/none/100%2 of %1"_s), u"/none/100%2 of %1 (1)"_s);
}
