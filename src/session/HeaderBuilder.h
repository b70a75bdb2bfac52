// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/ConfigSummary.h"
#include "recording/FileHeader.h"
#include "session/SessionTypes.h"

namespace vt {

inline constexpr double NiFullScaleVolts = 5.0;
inline constexpr double AmplifierFullScaleVolts = 3.3;

/// Volts that are subtracted from every decimated sample: 2.5 for a unit that reports gain 0, else 0. Nothing
/// is subtracted with the serial amplifier, which reports none.
[[nodiscard]] double inputOffsetVolts(int gain, DeviceKind kind = DeviceKind::NiUnit);

/// The header of a recording, but for its start date and time.
[[nodiscard]] FileHeader buildHeader(const RecordingSetup& setup, const DeviceDetails& device,
                                     const MCUHeader& mcu);

/// One animal ID per channel: missing or blank ones become the channel's number.
[[nodiscard]] QStringList completeAnimalIds(const QStringList& ids, int channelCount);

[[nodiscard]] ConfigSummary buildConfigSummary(const QString& basePath, const RecordingSetup& setup,
                                               const DeviceDetails& device);

} // namespace vt
