// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/CommandLineSetup.h"

namespace vt {

RecordingSetup setupFromCommandLine(const CommandLine& line, const DeviceDetails& details,
                                    const SetupFileContents* contents)
{
    RecordingSetup setup;
    setup.channelCount = details.offeredChannels;
    if (contents)
        applySetup(*contents, setup);
    applyExplicitOptions(line, setup);
    // The file has an ID for each of the device's channels. Too many on the command line are a mistake, which
    // the session tells.
    const qsizetype wanted = std::max<qsizetype>(setup.channelCount, line.animalIds.size());
    setup.animalIds = setup.animalIds.mid(0, wanted);
    return setup;
}

void applyAnimalIds(const QStringList& given, QStringList& animalIds)
{
    animalIds = given + animalIds.mid(given.size());
}

void applyExplicitOptions(const CommandLine& line, RecordingSetup& setup)
{
    if (!line.output.isEmpty())
        setup.basePath = line.output;
    if (line.channels > 0)
        setup.channelCount = line.channels;
    if (line.animalType > 0)
        setup.animalType = line.animalType;
    applyAnimalIds(line.animalIds, setup.animalIds);
    setup.activityOnly = setup.activityOnly || line.activityOnly;
    setup.bandpass = setup.bandpass || line.bandpass;
    if (line.durationSeconds > 0.0)
        setup.frameLimit = line.frameLimit();
}

} // namespace vt
