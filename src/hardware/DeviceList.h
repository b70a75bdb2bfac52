// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "daqmx/DaqmxApi.h"

#include <QString>
#include <optional>
#include <vector>

namespace vt {

/// One NI-DAQmx device as enumerated.
struct DAQDevice
{
    QString name;
    QString productType; ///< empty when the driver could not tell
    QString serial;      ///< decimal; empty when the driver could not tell
    bool simulated = false;

    bool operator==(const DAQDevice&) const = default;
};

// Plain calls of the driver; any thread, as long as they may take. Failures are logged with their code.

/// Every device that the driver lists, with a log line each. Empty optional when there is no list.
[[nodiscard]] std::optional<std::vector<DAQDevice>> enumerateDevices(DaqmxApi& driver);

enum class DevicePresence { Absent, Present, OtherSerial };
/// One look at the driver's list, without a log line for the good case: is this name there, and is it the
/// same unit?
[[nodiscard]] DevicePresence lookForDevice(DaqmxApi& driver, const DAQDevice& device);

/// Analog inputs of a device, at most 16; 0 when the driver cannot tell.
[[nodiscard]] int countAnalogInputs(DaqmxApi& driver, const QString& deviceName);

} // namespace vt
