// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/DeviceList.h"
#include "hardware/I2C.h"
#include "recording/McuHeader.h"

#include <memory>
#include <optional>

namespace vt {

/// The I2C buses of the selected device and what is read over them. Hardware thread only: every call may
/// take as long as the driver does.
class HardwareSession
{
public:
    explicit HardwareSession(DaqmxApi& driver) : m_driver(driver) {}

    /// Resets the device and opens its three buses; closes an earlier session first. True when the
    /// microcontroller's bus can be used.
    bool open(const QString& deviceName);
    void close();
    /// Closes, looks whether the very same unit is still there, opens and probes. True when the
    /// microcontroller answered.
    bool rebuild(const DAQDevice& device);

    /// Reads the microcontroller's status register.
    [[nodiscard]] bool probe();
    /// Reads its whole register file.
    [[nodiscard]] std::optional<MCUHeader> readHeader();

private:
    DaqmxApi& m_driver;
    std::unique_ptr<I2C> m_mcuBus;
    std::unique_ptr<I2C> m_stimulationBus;
    std::unique_ptr<I2C> m_dioBus;
};

} // namespace vt
