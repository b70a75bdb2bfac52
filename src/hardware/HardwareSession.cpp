// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/HardwareSession.h"

#include "hardware/MCUBufferMap.h"

#include <QDebug>

namespace vt {

namespace {

constexpr std::uint8_t McuAddress8 = 0x10;
constexpr std::uint8_t McuFirstRegister = 0x00;
constexpr std::uint8_t McuStatusRegister = 0x0A;

} // namespace

bool HardwareSession::open(const QString& deviceName)
{
    close();
    const std::int32_t status = m_driver.DAQmxResetDevice(deviceName.toLocal8Bit().constData());
    if (status < 0)
        qWarning().noquote() << "DAQmxResetDevice failed for" << deviceName << "err=" << status;
    m_mcuBus = std::make_unique<I2C>(m_driver, deviceName, 0, 0, 1, 2);
    m_stimulationBus = std::make_unique<I2C>(m_driver, deviceName, 0, 4, 5, 6);
    m_dioBus = std::make_unique<I2C>(m_driver, deviceName, 1, 0, 1, 2);
    return !m_mcuBus->failed();
}

void HardwareSession::close()
{
    m_dioBus.reset();
    m_stimulationBus.reset();
    m_mcuBus.reset();
}

bool HardwareSession::rebuild(const DAQDevice& device)
{
    close();
    if (lookForDevice(m_driver, device) != DevicePresence::Present) {
        qWarning().noquote() << "DAQInfo::recoverI2CSession: device went unready after"
                             << "deinitI2C; aborting recovery";
        return false;
    }
    return open(device.name) && probe();
}

bool HardwareSession::probe()
{
    std::uint8_t status = 0;
    if (m_mcuBus && m_mcuBus->i2cRead(McuAddress8, McuStatusRegister, &status, 1))
        return true;
    qWarning("DAQInfo::probeI2C - MCU 0x10 read failed (i2c NAK / no response)");
    return false;
}

std::optional<MCUHeader> HardwareSession::readHeader()
{
    std::array<std::uint8_t, McuRegisterCount> registers{};
    if (m_mcuBus && m_mcuBus->i2cRead(McuAddress8, McuFirstRegister, registers.data(), McuRegisterCount))
        return MCUBufferMap(registers).header();
    qWarning("DAQInfo::getMCUHeader - i2cRead failed");
    return std::nullopt;
}

} // namespace vt
