// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/CommandLine.h"
#include "session/SetupFile.h"

namespace vt {

/// What to record on this device. Options given on the command line go before the setup file's values (each
/// --animal-id before the file's ID of the same channel), those before the defaults. contents: of the setup
/// file, read for details.offeredChannels; null without one.
[[nodiscard]] RecordingSetup setupFromCommandLine(const CommandLine& line, const DeviceDetails& details,
                                                  const SetupFileContents* contents);

/// Replaces the IDs of the first channels; what follows them stays.
void applyAnimalIds(const QStringList& given, QStringList& animalIds);

/// Only the options that were given; for a setup that the window has filled in.
void applyExplicitOptions(const CommandLine& line, RecordingSetup& setup);

} // namespace vt
