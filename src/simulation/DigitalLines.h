// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"
#include "simulation/DeviceEventLog.h"
#include "simulation/I2cBus.h"
#include "simulation/McuModel.h"
#include "simulation/PortExpanderModel.h"
#include "simulation/UnitClock.h"
#include "simulation/VexioModel.h"

#include <array>
#include <cstdint>
#include <vector>

namespace vt {

/// The unit's two digital ports of eight lines and what hangs on them:
///
///   bus     port  read-back  data out  clock out  devices                              interrupt
///   Mcu     0     0          1         2          microcontroller 0x10
///   Vexio   0     4          5         6          stimulation unit 0x10                port 0 line 7, high
///   Dio     1     0          1         2          expander 0x40, with more than        port 1 line 3, low
///                                                 eight channels also 0x4E
///
/// Lines that no task drives are pulled up and read high, as does everything without a device behind it; only
/// the stimulation unit's interrupt line is pulled down. Thread-safe.
class DigitalLines
{
public:
    static constexpr int PortCount = 2;
    static constexpr int LineCount = 8;
    static constexpr int CagesPerExpander = PortExpanderModel::PinCount;

    enum class Bus { Mcu, Vexio, Dio };

    struct Setup
    {
        McuRegisterFile registers{};
        int channels = 8; ///< above 8: two expanders
        bool vexioPresent = true;
        bool dioPresent = true;
        std::uint32_t vexioSerial = 0;
    };
    DigitalLines(const Setup& setup, const UnitClock& clock);

    /// One port-aligned sample (bit n is line n): lines in mask take the level in value and stay driven.
    void write(int port, std::uint32_t mask, std::uint32_t value);
    /// Levels of all lines of the port.
    [[nodiscard]] std::uint32_t read(int port);
    /// All lines become inputs again (device reset).
    void release();
    /// The unit loses power: everything on its lines stops.
    void powerDown();
    void powerUp();

    void setMcuNak(bool nak);
    /// A device that is taken away loses power, one that comes back starts anew.
    void setVexioPresent(bool present);
    void setDioPresent(bool present);
    /// The level on a cage's input, 1..16; cages without an expander are ignored.
    void setDioInput(int cage, bool high);
    void nakAtByte(Bus bus, int byte);
    void holdSdaLow(Bus bus, int clocks);

    /// Runs action(McuModel&) or action(VexioModel&) between two samples.
    template <typename Action>
    void onMcu(Action action)
    {
        MutexLock lock(m_mutex);
        action(m_mcu);
    }
    template <typename Action>
    void onVexio(Action action)
    {
        MutexLock lock(m_mutex);
        action(m_vexio);
    }

    /// What the devices did until now, in order.
    [[nodiscard]] std::vector<DeviceEvent> events();
    void clearEvents();

private:
    struct Port
    {
        std::uint32_t driven = 0;
        std::uint32_t level = 0;
    };
    struct Wiring
    {
        int port;
        std::uint32_t readBack, sda, scl; ///< masks
    };
    static constexpr std::size_t BusCount = 3;
    static constexpr std::array<Wiring, BusCount> Wirings{
        {{0, 1U << 0, 1U << 1, 1U << 2}, {0, 1U << 4, 1U << 5, 1U << 6}, {1, 1U << 0, 1U << 1, 1U << 2}}};

    [[nodiscard]] I2cBus& bus(Bus name) VT_REQUIRES(m_mutex)
    {
        return m_buses[static_cast<std::size_t>(name)];
    }
    [[nodiscard]] std::uint32_t drivenLevels(int port) const VT_REQUIRES(m_mutex);
    [[nodiscard]] bool dioInterruptLevel() const VT_REQUIRES(m_mutex);
    void updateBuses() VT_REQUIRES(m_mutex);
    void restartDevices() VT_REQUIRES(m_mutex);

    const McuRegisterFile m_registers;
    const std::size_t m_expanderCount;
    Mutex m_mutex;
    DeviceEventLog m_events VT_GUARDED_BY(m_mutex);
    std::array<Port, PortCount> m_ports VT_GUARDED_BY(m_mutex);
    McuModel m_mcu VT_GUARDED_BY(m_mutex);
    VexioModel m_vexio VT_GUARDED_BY(m_mutex);
    std::array<PortExpanderModel, 2> m_expanders VT_GUARDED_BY(m_mutex);
    std::array<I2cBus, BusCount> m_buses VT_GUARDED_BY(m_mutex);
};

} // namespace vt
