// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/DataEeprom.h"

#include "hardware/I2C.h"

#include <QRandomGenerator>
#include <array>

namespace vt::dataeeprom {

namespace {

constexpr std::uint8_t McuAddress8 = 0x10;
constexpr std::uint8_t ControlRegister = 0x09;
constexpr std::uint8_t AccessBit = 0x20;
constexpr std::uint8_t HighAddressRegister = 0x3C;
constexpr std::uint8_t LowAddressRegister = 0x3D;
constexpr std::uint8_t DataRegister = 0x3E; ///< and 0x3F, low byte first
constexpr std::uint8_t CommandRegister = 0x4C;

class Access
{
public:
    Access(I2C& bus, const std::function<void()>& betweenTransfers)
        : m_bus(bus), m_betweenTransfers(betweenTransfers)
    {}

    [[nodiscard]] bool write(std::uint8_t address, const std::uint8_t* bytes, int count)
    {
        letOthersIn();
        return m_bus.i2cWrite(McuAddress8, address, bytes, count);
    }
    [[nodiscard]] bool write(std::uint8_t address, std::uint8_t value) { return write(address, &value, 1); }
    [[nodiscard]] bool read(std::uint8_t address, std::uint8_t* bytes, int count)
    {
        letOthersIn();
        return m_bus.i2cRead(McuAddress8, address, bytes, count);
    }
    /// Opens the window and points it at an address.
    [[nodiscard]] bool open(std::uint8_t address)
    {
        std::uint8_t control = 0;
        return read(ControlRegister, &control, 1) &&
               write(ControlRegister, static_cast<std::uint8_t>(control | AccessBit)) &&
               write(HighAddressRegister, 0) && write(LowAddressRegister, address);
    }
    [[nodiscard]] bool command()
    {
        const auto key = static_cast<std::uint8_t>(QRandomGenerator::global()->bounded(1, 15));
        return write(CommandRegister, commandByte(key));
    }

private:
    void letOthersIn()
    {
        if (m_betweenTransfers)
            m_betweenTransfers();
    }

    I2C& m_bus;
    const std::function<void()>& m_betweenTransfers;
};

} // namespace

std::optional<std::uint16_t> readWord(I2C& mcuBus, std::uint8_t evenAddress,
                                      const std::function<void()>& betweenTransfers)
{
    Access access(mcuBus, betweenTransfers);
    std::array<std::uint8_t, 2> bytes{};
    // The odd address asks for reading.
    if (!access.open(static_cast<std::uint8_t>(evenAddress + 1)) || !access.command() ||
        !access.read(DataRegister, bytes.data(), 2))
        return std::nullopt;
    return static_cast<std::uint16_t>(bytes[0] | (bytes[1] << 8));
}

bool writeWord(I2C& mcuBus, std::uint8_t evenAddress, std::uint16_t value,
               const std::function<void()>& betweenTransfers)
{
    Access access(mcuBus, betweenTransfers);
    const std::array<std::uint8_t, 2> bytes{static_cast<std::uint8_t>(value & 0xFF),
                                            static_cast<std::uint8_t>(value >> 8)};
    return access.open(evenAddress) && access.write(DataRegister, bytes.data(), 2) && access.command();
}

} // namespace vt::dataeeprom
